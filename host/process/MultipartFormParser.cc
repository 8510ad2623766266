#include "host/process/MultipartFormParser.h"

#include <strings.h>

#include <climits>
#include <cstring>

#include "files/File.h"
#include "files/FileManager.h"
#include "host/OxinApplication.h"
#include "runtime/OxinVM.h"
#include "variables/VariableHash.h"

namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

// A quoted parameter value from text[*at] (the opening quote), with
// backslash escapes; *at ends behind the closing quote.
std::string quoted_value(const char* text, size_t* at) {
    std::string value;
    size_t i = *at + 1;
    for (; text[i] && text[i] != '"'; i++) {
        if (text[i] == '\\' && text[i + 1]) i++;
        value += text[i];
    }
    *at = text[i] ? i + 1 : i;
    return value;
}

// The boundary parameter of a content type, or "" when there is none.
std::string extract_boundary(const char* type) {
    const char* semicolon = strchr(type, ';');
    if (!semicolon) return "";
    const char* text = semicolon + 1;
    size_t at = 0;
    while (text[at]) {
        while (is_blank(text[at]) || text[at] == ';')
            at++;
        size_t key = at;
        while (text[at] && text[at] != '=' && text[at] != ';')
            at++;
        bool wanted = at - key == 8 && strncasecmp(text + key, "boundary", 8) == 0;
        if (text[at] != '=') continue;
        at++;
        std::string value;
        if (text[at] == '"') {
            value = quoted_value(text, &at);
        } else {
            size_t from = at;
            while (text[at] && text[at] != ';')
                at++;
            value.assign(text + from, at - from);
        }
        if (wanted) return value;
    }
    return "";
}

}  // namespace

MultipartFormParser::MultipartFormParser(OxinVM* vm, FileManager* files, VariableHash* target,
                                         int limit, const char* content_type)
    : HTTPContentParser(target), vm_(vm), files_(files), limit_(limit) {
    std::string value = extract_boundary(content_type ? content_type : "");
    if (value.empty()) {
        // The first line of the body is the boundary.
        boundary_ = "\r\n";
        state_ = 1;
    } else {
        boundary_ = "\r\n--" + value;
        state_ = 0;
        index_ = 2;  // the body's first line has no line break before it
    }
}

MultipartFormParser::~MultipartFormParser() {
    delete temporary_;
}

void MultipartFormParser::Found(unsigned char byte, const char* expected) {
    String text("Found ");
    text.cat(static_cast<char>(byte));
    text.cat(expected);
    Error(text);
    state_ = 20;
}

String MultipartFormParser::FileNameUnquoted() const {
    if (file_name_.size() < 2) return String("");
    return String(file_name_.data() + 1, static_cast<int>(file_name_.size()) - 2);
}

void MultipartFormParser::StoreParameter() {
    if (parameter_name_ == "name") {
        field_name_ = parameter_value_.size() >= 2
                          ? parameter_value_.substr(1, parameter_value_.size() - 2)
                          : std::string();
    } else if (parameter_name_ == "filename" && parameter_value_.size() > 2) {
        file_name_ = parameter_value_;
    }
}

void MultipartFormParser::Step(const char* data, int at, bool* again, int* start) {
    unsigned char c = static_cast<unsigned char>(data[at]);
    switch (state_) {
        case 0:
            if (index_ == boundary_.size()) {
                state_ = 2;
                *again = true;
            } else if (c == static_cast<unsigned char>(boundary_[index_])) {
                index_++;
            } else {
                state_ = 3;
                *again = true;
            }
            break;
        case 1:
            if (c == '\r') {
                boundary_.append(data, at);
                state_ = 4;
            }
            break;
        case 2:
            if (c == '\r') {
                state_ = 4;
            } else {
                state_ = 3;
                *again = true;
            }
            break;
        case 3:
            if (c == '\r') {
                Error(String("Failed to find boundary separator"));
                state_ = 20;
            }
            break;
        case 4:
            if (c == '\n') {
                state_ = 5;
            } else {
                Found(c, " when expected LF");
            }
            break;
        case 5:
            if (c == '\r') {
                state_ = 12;
            } else if (c == ':') {
                Found(c, " when expecting file header type");
            } else {
                header_name_.assign(1, static_cast<char>(c));
                state_ = 6;
            }
            break;
        case 6:
            if (c == '\r') {
                Error(String("Premature end of line when expecting file header type"));
                state_ = 20;
            } else if (c == ':') {
                if (header_name_ == "Content-Disposition") {
                    file_name_.clear();
                    state_ = 8;
                } else if (header_name_ == "Content-Type") {
                    content_type_.clear();
                    state_ = 7;
                }
            } else {
                header_name_ += static_cast<char>(c);
            }
            break;
        case 7:
            if (c == '\r') {
                state_ = 4;
            } else if (c != ' ') {
                content_type_ += static_cast<char>(c);
            }
            break;
        case 8:
            if (c == ';') state_ = 9;
            break;
        case 9:
            if (c != ' ') {
                parameter_name_.assign(1, static_cast<char>(c));
                state_ = 10;
            }
            break;
        case 10:
            if (c == '=') {
                parameter_value_.clear();
                state_ = 11;
            } else {
                parameter_name_ += static_cast<char>(c);
            }
            break;
        case 11:
            if (c == '\r' || c == ';') {
                StoreParameter();
                state_ = c == ';' ? 9 : 4;
            } else {
                parameter_value_ += static_cast<char>(c);
            }
            break;
        case 12:
            if (c == '\n') {
                state_ = 13;
            } else {
                Found(c, " when expected LF");
            }
            break;
        case 13:
            *start = at;
            if (!Form_Fragment_Start()) {
                state_ = 20;
            } else if (c == static_cast<unsigned char>(boundary_[0])) {
                index_ = 1;
                state_ = 15;
            } else {
                state_ = 14;
            }
            break;
        case 14:
            if (c == static_cast<unsigned char>(boundary_[0])) {
                index_ = 1;
                state_ = 15;
            }
            break;
        case 15:
        case 16:
            if (index_ == boundary_.size()) {
                state_ = 17;
                *again = true;
            } else if (c == static_cast<unsigned char>(boundary_[index_])) {
                index_++;
            } else {
                // A match begun in the block before was no boundary: its
                // bytes are data after all.
                if (state_ == 16 &&
                    !Form_Fragment_Write(boundary_.data(), static_cast<int>(index_))) {
                    state_ = 20;
                    break;
                }
                if (state_ == 16) *start = at;
                state_ = 14;
                *again = true;
            }
            break;
        case 17: {
            int length = at - *start - static_cast<int>(boundary_.size());
            if ((length > 0 && !Form_Fragment_Write(data + *start, length)) ||
                !Form_Fragment_End()) {
                state_ = 20;
            } else if (c == '\r') {
                state_ = 4;
            } else if (c == '-') {
                state_ = 18;
            } else {
                Found(c, " when expected CR or '-'");
            }
            break;
        }
        case 18:
            if (c == '-') {
                state_ = 19;
            } else {
                Found(c, " when expected '-'");
            }
            break;
    }
}

bool MultipartFormParser::Parse(const char* data, int length) {
    int start = 0;
    for (int at = 0; at < length;) {
        if (state_ == 19) return true;
        if (state_ == 20) return false;
        bool again = false;
        Step(data, at, &again, &start);
        if (!again) at++;
    }
    if (length <= 0) return state_ != 20;
    switch (state_) {
        case 1:
            boundary_.append(data, length);
            break;
        case 14:
            if (!Form_Fragment_Write(data + start, length - start)) state_ = 20;
            break;
        case 15: {
            int kept = length - start - static_cast<int>(index_);
            if (kept > 0 && !Form_Fragment_Write(data + start, kept)) {
                state_ = 20;
            } else {
                state_ = 16;
            }
            break;
        }
    }
    return state_ != 20;
}

bool MultipartFormParser::Form_Fragment_Start() {
    if (file_name_.empty()) return true;
    vm_->oxinapplication()->ResetGlobalTimeout();
    long size = -1;
    String content_type(content_type_.data(), static_cast<int>(content_type_.size()));
    if (!vm_->ValidateFileUpload(String(field_name_.data(), static_cast<int>(field_name_.size())),
                                 FileNameUnquoted(), content_type, &size)) {
        Error(String("Failed call to ValidateFileUpload"));
        return false;
    }
    if (size < 0) {
        file_state_ = kSkipped;
        status_ = String("SKIPPED");
        return true;
    }
    vm_->oxinapplication()->ClearPOSTTimeout();
    status_ = String("COMPLETE");
    char* name = nullptr;
    temporary_ = files_->MakeTemporary(OxinPathData, "", "OXIN_FUP", &name,
                                       FileOpenWrite | FileOpenCreate | FileOpenTruncate);
    if (!temporary_) {
        delete[] name;
        Error(String("Failed to create temporary file"));
        return false;
    }
    temporary_name_ = String(name);
    delete[] name;
    file_state_ = kWriting;
    received_ = 0;
    maximum_ = size;
    return true;
}

bool MultipartFormParser::Form_Fragment_Write(const char* data, int length) {
    if (file_name_.empty()) {
        // A field becomes a variable, whose length is an int.
        if (static_cast<long>(value_.size()) + length >= INT_MAX) {
            Error(String("Out of memory"));
            return false;
        }
        value_.append(data, length);
        return true;
    }
    received_ += length;
    if (file_state_ != kWriting) return true;
    long to_write = length;
    // The present piece is counted twice: truncation sets in one piece
    // early, as uploads always have.
    if (maximum_ != 0 && received_ + length > maximum_) {
        file_state_ = kTruncated;
        status_ = String("PARTIAL");
        to_write = maximum_ - received_;
    }
    if (to_write > 0) temporary_->Write(data, static_cast<int>(to_write));
    return true;
}

bool MultipartFormParser::Form_Fragment_End() {
    if (file_name_.empty()) {
        count_++;
        if (limit_ != 0 && count_ > limit_) {
            Error(String("Maximum number of POST variables exceeded"));
            return false;
        }
        target_->SetVariable_Fancy(field_name_.data(), static_cast<int>(field_name_.size()),
                                   value_.data(), static_cast<int>(value_.size()), 1);
        value_.clear();
        return true;
    }
    if (file_state_ >= kSkipped) return true;
    delete temporary_;
    temporary_ = nullptr;
    OxinApplication* application = vm_->oxinapplication();
    application->ResetGlobalTimeout();
    String content_type(content_type_.data(), static_cast<int>(content_type_.size()));
    bool processed = vm_->ProcessFileUpload(
        String(field_name_.data(), static_cast<int>(field_name_.size())), FileNameUnquoted(),
        status_, temporary_name_, content_type, received_);
    files_->Delete(OxinPathData, temporary_name_.c_str());
    if (!processed) {
        Error(String("Failed call to ProcessFileUpload"));
        return false;
    }
    application->ResetPOSTTimeout();
    return true;
}
