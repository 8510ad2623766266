#include "statements/Import.h"

#include "application/OxinApplication.h"
#include "files/File.h"
#include "files/FileManager.h"
#include "runtime/OxinVM.h"
#include "variables/Variable.h"
#include "variables/VariableList.h"

namespace {

// The step by which the record buffer grows.
constexpr int kRecordGrowth = 8192;

}  // namespace

Import::Import(OxinApplication* application, OxinVM* vm)
    : Feature(application, vm, Feature::kImport), fields_(std::make_unique<VariableList>()) {}

Import::~Import() {
    if (recno_) recno_->DecRefCount();
}

void Import::SetDelimiter(const char* text, int length) {
    delimiter_.assign(text ? text : "", text ? static_cast<size_t>(length) : 0);
}

void Import::SetFields(const char* names, int length) {
    if (recno_) recno_->DecRefCount();
    recno_ = vm_->Lookup_Global("recno", 5);
    if (recno_) recno_->IncRefCount();
    vm_->Lookup_VariableList(fields_.get(), names ? names : "", names ? length : 0);
}

bool Import::Start(const String& file, int size) {
    file_.reset();
    filled_ = position_ = 0;
    ended_ = false;
    name_ = file;
    if (size < 1) size = kRecordGrowth;
    buffer_.assign(size, 0);
    record_.assign(size, 0);
    FileManager* files = application_->filemanager();
    file_.reset(files->Open(OxinPathData, name_.c_str(), FileOpenRead));
    if (!file_) {
        Error(String::Join({"Error opening '", name_.c_str(), "': ", files->error().c_str()}));
        return false;
    }
    int count = file_->Read(buffer_.data(), size);
    if (count < 0) {
        Error(String::Join({"Error reading from '", name_.c_str(), "': ", file_->error().c_str()}));
        return false;
    }
    filled_ = count;
    ended_ = count == 0;
    return true;
}

bool Import::Fill() {
    if (ended_ || !file_) return false;
    position_ = filled_ = 0;
    int count = file_->Read(buffer_.data(), static_cast<int>(buffer_.size()));
    if (count < 0)
        Error(String::Join({"Error reading from '", name_.c_str(), "': ", file_->error().c_str()}));
    if (count <= 0) {
        ended_ = true;
        return false;
    }
    filled_ = count;
    return true;
}

void Import::Store(char byte) {
    if (record_length_ == static_cast<int>(record_.size()))
        record_.resize(record_.size() + kRecordGrowth);
    record_[record_length_++] = byte;
}

int Import::ReadRecord() {
    enum State { kNormal, kEscape, kAfterCR };
    State state = kNormal;
    record_length_ = 0;
    for (;;) {
        if (position_ >= filled_ && !Fill()) return 0;
        char byte = buffer_[position_++];
        switch (state) {
            case kNormal:
                if (byte == '\n') return 1;
                if (byte == '\r') {
                    state = kAfterCR;
                } else if (byte == '\\') {
                    state = kEscape;
                } else {
                    Store(byte);
                }
                break;
            case kEscape:
                Store(byte == 'n' ? '\n' : byte == 'r' ? '\r' : byte);
                state = kNormal;
                break;
            case kAfterCR:
                // A CR LF pair is one line end: anything else starts the
                // next record.
                if (byte != '\n') position_--;
                return 1;
        }
    }
}

int Import::Find_Delimiter(int from) const {
    const int length = static_cast<int>(delimiter_.size());
    if (length == 0) return -1;
    for (int at = from; at + length <= record_length_; at++) {
        int matched = 0;
        while (matched < length && record_[at + matched] == delimiter_[matched])
            matched++;
        if (matched == length) return at;
    }
    return -1;
}

void Import::Assign_Fields() {
    int position = 0;
    for (Variable* variable = fields_->First(); variable; variable = fields_->Next()) {
        if (position >= record_length_) {
            variable->SetValue("", 0);
            continue;
        }
        int delimiter = Find_Delimiter(position);
        int end = delimiter < 0 ? record_length_ : delimiter;
        variable->SetValue(record_.data() + position, end - position);
        position = delimiter < 0 ? record_length_ : delimiter + static_cast<int>(delimiter_.size());
    }
}

void Import::Count_Record() {
    record_counter_++;
    if (recno_) recno_->SetValue_Integer(record_counter_);
}

int Import::Next() {
    if (ReadRecord() == 0 && record_length_ == 0) return 1;
    if (!filter_) Count_Record();
    Assign_Fields();
    return 0;
}

std::string Import::Export_Record(VariableList* values, const char* delimiter, int length) {
    std::string record;
    record.reserve(kRecordGrowth);
    bool first = true;
    for (Variable* variable = values->First(); variable; variable = values->Next()) {
        if (!first) record.append(delimiter ? delimiter : "", delimiter ? length : 0);
        first = false;
        const String& value = variable->value();
        for (int i = 0; i < value.length(); i++) {
            char byte = value.text()[i];
            if (byte == '\n') {
                record += "\\n";
            } else if (byte == '\r') {
                record += "\\r";
            } else if (byte == '\\') {
                record += "\\\\";
            } else {
                record += byte;
            }
        }
    }
    record += '\n';
    return record;
}
