#include "statements/POP3.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "application/Config.h"
#include "application/OxinApplication.h"
#include "files/FileManager.h"
#include "network/NetworkConnection.h"
#include "network/NetworkManager.h"
#include "network/POP3Message.h"
#include "variables/VariableHash.h"

namespace {

constexpr int kPOP3Port = 110;
constexpr int kLineBlock = 512;
constexpr const char* kInvalidResponse = "Invalid response from server";

int Configured(OxinApplication* application, int id, int fallback) {
    Config* config = application ? application->config() : nullptr;
    int value = config ? config->value_integer(id) : -1;
    return value > 0 ? value : fallback;
}

}  // namespace

POP3::POP3(OxinApplication* application, OxinVM* vm, VariableHash* variables, String directory)
    : Feature(application, vm, Feature::kPOP3),
      variables_(variables),
      timeout_(Configured(application, kConfigTimeoutMail, 30)),
      directory_(std::move(directory)) {}

POP3::~POP3() {
    if (connection_) Disconnect();
}

int POP3::Error(const char* text, int length) {
    Feature::Error(String(text, length));
    return kFailed;
}

int POP3::Connect(const char* host) {
    NetworkManager* manager = application_->networkmanager();
    if (manager) connection_.reset(manager->Connect(host, kPOP3Port, 0));
    if (!connection_) return kFailed;
    return ReadResponses();
}

int POP3::Login(const String& user, const String& password) {
    state_ = next_state_ = kGreeting;
    int result = SendCommand(String::Join({"USER ", user.c_str(), "\r\n"}));
    if (result != kDone) return result;
    return SendCommand(String::Join({"PASS ", password.c_str(), "\r\n"}));
}

int POP3::GetStat() {
    state_ = kStatus;
    return SendCommand(String("STAT\r\n"));
}

int POP3::BuildMessageList() {
    next_state_ = kListing;
    return SendCommand(String("LIST\r\n"));
}

POP3Message* POP3::Message(long index) const {
    if (index < 0 || index >= static_cast<long>(messages_.size())) return nullptr;
    return messages_[index].get();
}

int POP3::GetFirstMessage() {
    current_ = 0;
    POP3Message* first = Message(0);
    if (count_ < 1 || !first || first->number() == 0) return kEmpty;
    return GetMessage(first);
}

int POP3::GetNextMessage() {
    current_++;
    POP3Message* message = Message(current_);
    if (current_ >= count_ || !message || message->number() == 0) return kDone;
    return GetMessage(message);
}

int POP3::DeleteMessage() {
    state_ = next_state_ = kGreeting;
    POP3Message* message = current_ < count_ ? Message(current_) : nullptr;
    if (!message || message->number() == 0) return Error("No messages exist", -1);
    char command[32];
    snprintf(command, sizeof command, "DELE %u\r\n", message->number());
    return SendCommand(command, static_cast<int>(strlen(command)));
}

int POP3::GetMessage(POP3Message* message) {
    char prefix[32];
    snprintf(prefix, sizeof prefix, "OXPOPM.%x", message->number());
    FileManager* files = application_->filemanager();
    char* name = nullptr;
    File* file = files->MakeTemporary(OxinPathData, directory_.c_str(), prefix, &name, 2);
    if (!file) {
        delete[] name;
        Feature::Error(files->error());
        return kFailed;
    }
    String path(name ? name : "");
    delete[] name;
    message->OpenFile(file, path);
    fetching_ = message;
    state_ = kGreeting;
    next_state_ = kRetrieving;
    char command[32];
    snprintf(command, sizeof command, "RETR %u\r\n", message->number());
    int result = SendCommand(command, static_cast<int>(strlen(command)));
    message->CloseFile();
    fetching_ = nullptr;
    if (result == kFailed) return result;
    PublishHeaders(message);
    return kMore;
}

void POP3::PublishHeaders(POP3Message* message) {
    auto set = [this](const char* name, const String* value) {
        const char* text = value ? value->c_str() : "";
        variables_->SetVariable(name, static_cast<int>(strlen(name)), text,
                                static_cast<int>(strlen(text)));
    };
    set("messagebody", &message->path());
    const String* subject = message->Header("Subject");
    set("messagesubject", subject && subject->length() > 0 ? subject : &default_subject_);
    const String* from = message->Header("From");
    set("messagesender", from);
    const String* reply_to = message->Header("Reply-To");
    set("messagereplyto", reply_to && reply_to->length() > 0 ? reply_to : from);
    set("messagedate", message->Header("Date"));
}

int POP3::SendCommand(const char* text, int length) {
    if (!connection_ || connection_->Write(text, length, timeout_) <= 0)
        return Error("Error sending data to server", -1);
    return ReadResponses();
}

int POP3::ReadResponses() {
    String line;
    for (;;) {
        // A stream that ends gives no more lines: never wait for one.
        if (connection_->ReadLine(line, timeout_, kLineBlock) <= 0) {
            if (connection_->error().length() == 0) return Error(kInvalidResponse, -1);
            Feature::Error(connection_->error());
            return kFailed;
        }
        int length = line.length();
        const char* cr = static_cast<const char*>(memchr(line.c_str(), '\r', length));
        if (cr)
            length = static_cast<int>(cr - line.c_str());
        else if (length > 0 && line.c_str()[length - 1] == '\n')
            length--;
        int result = ProcessResponse(line.c_str(), length);
        if (result != kMore) return result;
    }
}

int POP3::Failure(const char* line, int length) {
    const char* blank = static_cast<const char*>(memchr(line, ' ', length));
    if (!blank) return Error(kInvalidResponse, -1);
    return Error(blank + 1, static_cast<int>(line + length - blank - 1));
}

int POP3::TakeStatus(const char* line, int length) {
    // The reply's words: status, count, octets.
    int starts[3], ends[3];
    int found = 0;
    for (int at = 0; at < length && found < 3;) {
        while (at < length && line[at] == ' ')
            at++;
        if (at == length) break;
        starts[found] = at;
        while (at < length && line[at] != ' ')
            at++;
        ends[found++] = at;
    }
    if (found < 3) return Error(kInvalidResponse, -1);
    String second(line + starts[1], ends[1] - starts[1]);
    long count = strtol(second.c_str(), nullptr, 10);
    count_ = count > 0 ? count : 0;
    messages_.clear();
    next_state_ = kGreeting;
    return kDone;
}

int POP3::TakeListing(const char* line, int length) {
    const char* copy;
    int copy_length;
    if (EOT(line, length, &copy, &copy_length)) {
        current_ = 0;
        next_state_ = kGreeting;
        return kDone;
    }
    const char* blank = static_cast<const char*>(memchr(line, ' ', length));
    if (!blank) return Error(kInvalidResponse, -1);
    if (current_ >= count_) return Error("More messages than expected returned from server", -1);
    String text(line, length);
    unsigned number = static_cast<unsigned>(strtoul(text.c_str(), nullptr, 10));
    long size = strtol(text.c_str() + (blank - line) + 1, nullptr, 10);
    messages_.push_back(std::make_unique<POP3Message>());
    messages_.back()->SetListing(number, size);
    current_++;
    next_state_ = kListing;
    return kMore;
}

int POP3::ProcessResponse(const char* line, int length) {
    switch (state_) {
        case kGreeting:
            if (length > 0 && line[0] == '-') return Failure(line, length);
            break;
        case kStatus:
            if (length > 0 && line[0] == '-') return Failure(line, length);
            if (TakeStatus(line, length) == kFailed) return kFailed;
            break;
        case kListing:
            if (TakeListing(line, length) == kFailed) return kFailed;
            break;
        case kRetrieving: {
            if (!fetching_) return Error(kInvalidResponse, -1);
            const char* copy;
            int copy_length;
            if (EOT(line, length, &copy, &copy_length)) {
                fetching_->CloseFile();
                next_state_ = kGreeting;
            } else {
                fetching_->SaveLine(copy, copy_length);
                next_state_ = kRetrieving;
            }
            break;
        }
    }
    state_ = next_state_;
    return state_ != kGreeting ? kMore : kDone;
}

bool POP3::EOT(const char* line, int length, const char** copy, int* copy_length) {
    *copy = line;
    *copy_length = length;
    if (length == 1 && line[0] == '.') {
        *copy_length = 0;
        return true;
    }
    if (length >= 2 && line[0] == '.' && line[1] == '.') {
        const char* zero = static_cast<const char*>(memchr(line + 1, '0', length - 1));
        *copy = zero ? zero : line + length;
        *copy_length = zero ? static_cast<int>(line + length - zero) : 0;
    }
    return false;
}

void POP3::Disconnect() {
    state_ = next_state_ = kGreeting;
    SendCommand(String("QUIT\r\n"));
    connection_.reset();
}
