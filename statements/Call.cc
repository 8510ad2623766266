#include "statements/Call.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "application/Config.h"
#include "application/ConfigKeys.h"
#include "application/OxinApplication.h"
#include "base/TextConversion.h"
#include "files/FileManager.h"
#include "network/HTTPResponseStream.h"
#include "network/NetworkManager.h"
#include "network/NetworkConnection.h"
#include "runtime/OxinVM.h"
#include "statements/CallBuffer.h"
#include "statements/CallScanner.h"
#include "statements/OxinVMLoggingNetworkConnection.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"
#include "variables/VariableList.h"

namespace {

int Configured(OxinApplication* application, int id, int fallback) {
    Config* config = application ? application->config() : nullptr;
    int value = config ? config->value_integer(id) : -1;
    return value > 0 ? value : fallback;
}

// Appends a new[] block from TextConversion and frees it.
void Cat_Adopted(String& text, char* block, int length) {
    text.cat(block, length);
    delete[] block;
}

void Cat_Encoded(String& text, const String& value) {
    int length = 0;
    char* encoded = TextConversion::EncodeAttribute(value.c_str(), value.length(), &length, nullptr);
    Cat_Adopted(text, encoded, length);
}

const char* Or_Null(const std::unique_ptr<String>& text) {
    return text && text->length() > 0 ? text->c_str() : nullptr;
}

}  // namespace

Call::Call(OxinApplication* application, OxinVM* vm, Arguments arguments)
    : Feature(application, vm, kCall),
      variables_(vm->systemvar_hash()),
      url_(std::move(arguments.url)),
      method_(std::move(arguments.method)),
      fields_text_(std::move(arguments.fields)),
      files_text_(std::move(arguments.files)),
      content_type_(std::move(arguments.content_type)),
      certificate_file_(std::move(arguments.certificate_file)),
      certificate_data_(std::move(arguments.certificate_data)),
      certificate_type_(std::move(arguments.certificate_type)),
      certificate_password_(std::move(arguments.certificate_password)),
      read_buffer_size_(Configured(application, kConfigBufszCall, 8192)),
      fields_(new VariableList),
      logging_(arguments.logging),
      timeout_(Effective_Timeout(arguments.timeout,
                                 Configured(application, kConfigTimeoutCall, 0))),
      content_buffer_size_(Configured(application, kConfigBufszContent, 8192)) {}

Call::~Call() {
    scanner_.reset();
    buffer_.reset();
    response_.reset();
    delete connection_;
}

int Call::Effective_Timeout(int requested, int configured) {
    if (configured != 0 && (requested == 0 || requested >= configured)) return configured;
    return requested;
}

bool Call::Fail(const String& text) {
    Error(text);
    return false;
}

bool Call::Connect(const char* headers, int headers_length) {
    method_.upcase();
    vm_->Lookup_VariableList(fields_.get(), fields_text_.c_str(), fields_text_.length());
    if (files_text_.length() > 0 && !BuildFileList()) return false;
    Choose_Method();
    bool opened = files_.Entries() > 0 ? OpenMultipartConnection(headers, headers_length)
                                       : OpenURLEncodedConnection(headers, headers_length);
    if (!opened) return false;
    response_ = std::make_unique<HTTPResponseStream>(connection_, timeout_);
    connection_ = nullptr;
    if (!Process_Headers()) return false;
    buffer_ = std::make_unique<CallBuffer>(response_.get(), read_buffer_size_);
    scanner_ = std::make_unique<CallScanner>(buffer_.get(), variables_);
    return true;
}

void Call::Choose_Method() {
    struct Row {
        const char* method;
        BodyMode mode;
        const char* wire;  // null: the method as given
        const char* content_type;
    };
    static const Row rows[] = {
        {"GET", kQueryString, nullptr, nullptr},    {"POST", kURLEncoded, "POST", nullptr},
        {"HEAD", kNoBody, "HEAD", nullptr},         {"XML", kRawBody, "POST", "text/xml"},
        {"RAW", kRawBody, "POST", "text/plain"},    {"OPTIONS", kRawBody, nullptr, "text/plain"},
        {"PUT", kRawBody, nullptr, "text/plain"},   {"TRACE", kRawBody, nullptr, "text/plain"},
        {"CONNECT", kRawBody, nullptr, "text/plain"}, {"PATCH", kRawBody, nullptr, "text/plain"},
        {"UNLINK", kRawBody, nullptr, "text/plain"},
    };
    for (const Row& row : rows) {
        if (!method_.matches(row.method)) continue;
        body_mode_ = row.mode;
        http_method_ = row.wire ? String(row.wire) : method_;
        if (row.content_type && content_type_.length() == 0) content_type_ = row.content_type;
        return;
    }
    bool with_files = files_.Entries() > 0;
    body_mode_ = with_files ? kURLEncoded : kQueryString;
    http_method_ = with_files ? "POST" : "GET";
}

bool Call::BuildFileList() {
    files_.Dump();
    FileManager* manager = application_->filemanager();
    const char* names = files_text_.c_str();
    int length = files_text_.length();
    for (int start = 0; start <= length;) {
        int end = start;
        while (end < length && names[end] != ',') end++;
        String name(names + start, end - start);
        name.StripWhitespace();
        start = end + 1;
        if (name.length() == 0) continue;
        Variable* variable = vm_->Lookup_Variable(name.c_str(), name.length());
        if (!variable || variable->value().length() == 0) return Fail("Empty filename");
        const String& path = variable->value();
        File* file = manager ? manager->Open(OxinPathData, path.c_str(), FileOpenRead) : nullptr;
        if (!file)
            return Fail(String::Join({"Unable to open '", path.c_str(), "': ",
                                      manager ? manager->error().c_str() : ""}));
        auto* entry = new CallFile{path, std::unique_ptr<File>(file), "unknown", name};
        files_.Insert(entry, ListTail);
    }
    return true;
}

String Call::Encoded_Fields() {
    String text;
    for (Variable* field = fields_->First(); field; field = fields_->Next()) {
        if (text.length() > 0) text.cat('&');
        Cat_Encoded(text, field->name());
        text.cat('=');
        Cat_Encoded(text, field->value());
    }
    return text;
}

bool Call::OpenURLEncodedConnection(const char* headers, int headers_length) {
    String body;
    switch (body_mode_) {
        case kQueryString:
            if (fields_->Entries() > 0) {
                if (url_.length() == 0 || url_.text()[url_.length() - 1] != '?') url_.cat('?');
                String query = Encoded_Fields();
                url_.cat(query.c_str(), query.length());
            }
            break;
        case kURLEncoded:
            content_type_ = "application/x-www-form-urlencoded";
            body = Encoded_Fields();
            break;
        case kRawBody:
            for (Variable* field = fields_->First(); field; field = fields_->Next())
                body.cat(field->value().c_str(), field->value().length());
            break;
        default:
            break;
    }
    return Open(body.length() > 0 ? body.c_str() : nullptr, body.length(), headers,
                headers_length);
}

bool Call::Open(const char* body, int body_length, const char* headers, int headers_length) {
    NetworkManager* manager = application_->networkmanager();
    OxinVMLoggingNetworkConnectionData place{vm_, kLogCall};
    if (manager && logging_)
        connection_ = manager->OpenURL<OxinVMLoggingNetworkConnection>(
            http_method_.c_str(), url_.c_str(), body, content_type_.c_str(), body_length,
            Or_Null(certificate_file_), Or_Null(certificate_data_), Or_Null(certificate_type_),
            Or_Null(certificate_password_), headers, headers_length, 1.1, timeout_, &place);
    else if (manager)
        connection_ = manager->OpenURL(http_method_.c_str(), url_.c_str(), body,
                                       content_type_.c_str(), body_length,
                                       Or_Null(certificate_file_), Or_Null(certificate_data_),
                                       Or_Null(certificate_type_), Or_Null(certificate_password_),
                                       headers, headers_length, 1.1, timeout_);
    if (connection_) return true;
    return Fail(String::Join({"Unable to open URL '", url_.c_str(), "': ",
                              manager ? manager->error().c_str() : "no network"}));
}

bool Call::OpenMultipartConnection(const char* headers, int headers_length) {
    char number[64];
    String boundary("--------------------");
    for (int i = 0; i < 3; i++) {
        snprintf(number, sizeof number, "%d", rand());
        boundary.cat(number);
    }
    parts_.Dump();
    long total = 0;
    for (Variable* field = fields_->First(); field; field = fields_->Next()) {
        auto* part = new String(String::Join({"--", boundary.c_str(), "\r\n",
                                              "Content-Disposition: form-data; name=\"",
                                              field->name().c_str(), "\"\r\n\r\n"}));
        part->cat(field->value().c_str(), field->value().length());
        part->cat("\r\n");
        total += part->length();
        parts_.Insert(part, ListTail);
    }
    for (CallFile* file = files_.First(); file; file = files_.Next()) {
        total += String::Join({"--", boundary.c_str(), "\r\nContent-Disposition: form-data; name=\"",
                               file->field_name.c_str(), "\"; filename=\"", file->filename.c_str(),
                               "\"\r\nContent-Type: ", file->content_type.c_str(), "\r\n\r\n"})
                     .length();
        total += file->file->Length() + 2;
    }
    total += boundary.length() + 6;
    content_type_ = String::Join({"multipart/form-data; boundary=", boundary.c_str()});
    if (!Open(nullptr, static_cast<int>(total), headers, headers_length)) return false;
    for (String* part = parts_.First(); part; part = parts_.Next())
        if (!connection_->Write(*part, timeout_)) return Fail(connection_->error());
    if (!Send_Files(boundary)) return false;
    if (!connection_->Write(String::Join({"--", boundary.c_str(), "--\r\n"}), timeout_))
        return Fail(connection_->error());
    return true;
}

bool Call::Send_Files(const String& boundary) {
    std::unique_ptr<char[]> block(new char[content_buffer_size_]);
    for (CallFile* file = files_.First(); file; file = files_.Next()) {
        String head = String::Join(
            {"--", boundary.c_str(), "\r\nContent-Disposition: form-data; name=\"",
             file->field_name.c_str(), "\"; filename=\"", file->filename.c_str(),
             "\"\r\nContent-Type: ", file->content_type.c_str(), "\r\n\r\n"});
        if (!connection_->Write(head, timeout_)) return Fail(connection_->error());
        file->file->Seek(0);
        int count;
        while ((count = file->file->Read(block.get(), content_buffer_size_)) > 0)
            if (connection_->Write(block.get(), count, timeout_) != count)
                return Fail(connection_->error());
        if (count < 0) return Fail(file->file->error());
        if (!connection_->Write(String("\r\n"), timeout_)) return Fail(connection_->error());
    }
    return true;
}

bool Call::Process_Headers() {
    if (!response_->Read_Headers()) return Fail(response_->error());
    int n = 0;
    for (HTTPResponseStream_Header* header = response_->First(); header;
         header = response_->Next()) {
        const String& line = header->line();
        CallScanner::Set_Counted_Variable(variables_, "callreturnheader", 16, ++n, line.c_str(),
                                          line.length());
    }
    char count[16];
    int length = snprintf(count, sizeof count, "%d", n);
    variables_->SetVariable("callnumberofheaders", 19, count, length);
    return true;
}

int Call::Find_Next_Element() {
    int result = scanner_->Find_Next_Element();
    if (result == kError) Error(scanner_->error());
    return result;
}
