#include "host/MultipartFormParser.h"

#include <strings.h>

#include <cassert>
#include <climits>
#include <cstring>
#include <iterator>

#include "application/OxinApplication.h"
#include "files/File.h"
#include "files/FileManager.h"
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
        state_ = State::BoundaryLine;
    } else {
        boundary_ = "\r\n--" + value;
        state_ = State::FirstBoundary;
        index_ = 2;  // the body's first line has no line break before it
    }
}

MultipartFormParser::~MultipartFormParser() {
    delete temporary_;
}

MultipartFormParser::Byte MultipartFormParser::Fail(const char* text) {
    Error(String(text));
    state_ = State::Failed;
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::Found(unsigned char byte, const char* expected) {
    String text("Found ");
    text.cat(static_cast<char>(byte));
    text.cat(expected);
    Error(text);
    state_ = State::Failed;
    return Byte::Taken;
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

MultipartFormParser::Handler MultipartFormParser::HandlerOf(State state) {
    // Indexed by State; Done and Failed read nothing.
    static constexpr Handler kHandlers[] = {
        &MultipartFormParser::MatchFirstBoundary,
        &MultipartFormParser::LearnBoundary,
        &MultipartFormParser::EndBoundaryLine,
        &MultipartFormParser::SkipBoundaryJunk,
        &MultipartFormParser::ExpectLineFeed,
        &MultipartFormParser::StartHeader,
        &MultipartFormParser::ReadHeaderName,
        &MultipartFormParser::ReadContentType,
        &MultipartFormParser::SkipDispositionType,
        &MultipartFormParser::StartParameter,
        &MultipartFormParser::ReadParameterName,
        &MultipartFormParser::ReadParameterValue,
        &MultipartFormParser::EndHeaders,
        &MultipartFormParser::StartPart,
        &MultipartFormParser::ScanData,
        &MultipartFormParser::MatchBoundaryInBlock,
        &MultipartFormParser::MatchBoundaryAcrossBlocks,
        &MultipartFormParser::EndBoundary,
        &MultipartFormParser::ExpectSecondDash,
    };
    static_assert(std::size(kHandlers) == static_cast<size_t>(State::Done));
    assert(state < State::Done);
    return kHandlers[static_cast<size_t>(state)];
}

bool MultipartFormParser::ContinuesBoundary(unsigned char byte) {
    if (byte != static_cast<unsigned char>(boundary_[index_])) return false;
    index_++;
    return true;
}

MultipartFormParser::Byte MultipartFormParser::MatchFirstBoundary(unsigned char byte) {
    if (index_ == boundary_.size()) {
        state_ = State::BoundaryLineEnd;
        return Byte::SeenAgain;
    }
    if (ContinuesBoundary(byte)) return Byte::Taken;
    state_ = State::BoundaryLineJunk;
    return Byte::SeenAgain;
}

MultipartFormParser::Byte MultipartFormParser::LearnBoundary(unsigned char byte) {
    if (byte == '\r') {
        boundary_.append(block_, at_);
        state_ = State::LineFeed;
    }
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::EndBoundaryLine(unsigned char byte) {
    if (byte == '\r') {
        state_ = State::LineFeed;
        return Byte::Taken;
    }
    state_ = State::BoundaryLineJunk;
    return Byte::SeenAgain;
}

MultipartFormParser::Byte MultipartFormParser::SkipBoundaryJunk(unsigned char byte) {
    if (byte == '\r') return Fail("Failed to find boundary separator");
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::ExpectLineFeed(unsigned char byte) {
    if (byte != '\n') return Found(byte, " when expected LF");
    state_ = State::HeaderLine;
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::StartHeader(unsigned char byte) {
    if (byte == '\r') {
        state_ = State::HeadersLineFeed;
    } else if (byte == ':') {
        return Found(byte, " when expecting file header type");
    } else {
        header_name_.assign(1, static_cast<char>(byte));
        state_ = State::HeaderName;
    }
    return Byte::Taken;
}

// Names are compared exactly, with case. Another header reads on to its CR,
// and so fails the form.
MultipartFormParser::Byte MultipartFormParser::ReadHeaderName(unsigned char byte) {
    if (byte == '\r') return Fail("Premature end of line when expecting file header type");
    if (byte != ':') {
        header_name_ += static_cast<char>(byte);
    } else if (header_name_ == "Content-Disposition") {
        file_name_.clear();
        state_ = State::DispositionType;
    } else if (header_name_ == "Content-Type") {
        content_type_.clear();
        state_ = State::ContentType;
    }
    return Byte::Taken;
}

// The type stays for the parts after this one that have no type of their own.
MultipartFormParser::Byte MultipartFormParser::ReadContentType(unsigned char byte) {
    if (byte == '\r') {
        state_ = State::LineFeed;
    } else if (byte != ' ') {
        content_type_ += static_cast<char>(byte);
    }
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::SkipDispositionType(unsigned char byte) {
    if (byte == ';') state_ = State::ParameterStart;
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::StartParameter(unsigned char byte) {
    if (byte != ' ') {
        parameter_name_.assign(1, static_cast<char>(byte));
        state_ = State::ParameterName;
    }
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::ReadParameterName(unsigned char byte) {
    if (byte == '=') {
        parameter_value_.clear();
        state_ = State::ParameterValue;
    } else {
        parameter_name_ += static_cast<char>(byte);
    }
    return Byte::Taken;
}

// Quotes are not tracked: a ";" inside them ends the value too.
MultipartFormParser::Byte MultipartFormParser::ReadParameterValue(unsigned char byte) {
    if (byte != '\r' && byte != ';') {
        parameter_value_ += static_cast<char>(byte);
        return Byte::Taken;
    }
    StoreParameter();
    state_ = byte == ';' ? State::ParameterStart : State::LineFeed;
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::EndHeaders(unsigned char byte) {
    if (byte != '\n') return Found(byte, " when expected LF");
    state_ = State::PartStart;
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::StartPart(unsigned char byte) {
    data_start_ = at_;
    if (!Form_Fragment_Start()) {
        state_ = State::Failed;
        return Byte::Taken;
    }
    state_ = State::Data;
    return ScanData(byte);
}

MultipartFormParser::Byte MultipartFormParser::ScanData(unsigned char byte) {
    if (byte == static_cast<unsigned char>(boundary_[0])) {
        index_ = 1;
        state_ = State::BoundaryInBlock;
    }
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::MatchBoundaryInBlock(unsigned char byte) {
    if (index_ == boundary_.size()) {
        state_ = State::BoundaryEnd;
        return Byte::SeenAgain;
    }
    if (ContinuesBoundary(byte)) return Byte::Taken;
    state_ = State::Data;
    return Byte::SeenAgain;
}

// A match begun in an earlier block that fails here was data after all: it
// is written now, and the data of this block begins at the present byte.
MultipartFormParser::Byte MultipartFormParser::MatchBoundaryAcrossBlocks(unsigned char byte) {
    if (index_ == boundary_.size()) {
        state_ = State::BoundaryEnd;
        return Byte::SeenAgain;
    }
    if (ContinuesBoundary(byte)) return Byte::Taken;
    if (!Form_Fragment_Write(boundary_.data(), static_cast<int>(index_))) {
        state_ = State::Failed;
        return Byte::Taken;
    }
    data_start_ = at_;
    state_ = State::Data;
    return Byte::SeenAgain;
}

// The part's data ends before the boundary, which lies wholly in this block
// unless it began in an earlier one, whose data has been written.
MultipartFormParser::Byte MultipartFormParser::EndBoundary(unsigned char byte) {
    int length = at_ - data_start_ - static_cast<int>(boundary_.size());
    if ((length > 0 && !Form_Fragment_Write(block_ + data_start_, length)) ||
        !Form_Fragment_End()) {
        state_ = State::Failed;
    } else if (byte == '\r') {
        state_ = State::LineFeed;
    } else if (byte == '-') {
        state_ = State::SecondDash;
    } else {
        return Found(byte, " when expected CR or '-'");
    }
    return Byte::Taken;
}

MultipartFormParser::Byte MultipartFormParser::ExpectSecondDash(unsigned char byte) {
    if (byte != '-') return Found(byte, " when expected '-'");
    state_ = State::Done;
    return Byte::Taken;
}

void MultipartFormParser::EndBlock(int length) {
    switch (state_) {
        case State::BoundaryLine:
            boundary_.append(block_, length);
            break;
        case State::Data:
            if (!Form_Fragment_Write(block_ + data_start_, length - data_start_))
                state_ = State::Failed;
            break;
        case State::BoundaryInBlock: {
            // The bytes of the partial match wait for the next block.
            int kept = length - data_start_ - static_cast<int>(index_);
            if (kept > 0 && !Form_Fragment_Write(block_ + data_start_, kept)) {
                state_ = State::Failed;
            } else {
                state_ = State::BoundaryAcrossBlocks;
            }
            break;
        }
        default:
            break;
    }
}

bool MultipartFormParser::Parse(const char* data, int length) {
    block_ = data;
    data_start_ = 0;
    for (at_ = 0; at_ < length;) {
        if (state_ == State::Done) return true;  // the rest of the block is ignored
        if (state_ == State::Failed) return false;
        unsigned char byte = static_cast<unsigned char>(data[at_]);
        if ((this->*HandlerOf(state_))(byte) == Byte::Taken) at_++;
    }
    if (length > 0) EndBlock(length);
    return state_ != State::Failed;
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
