#include "application/OxinApplication.h"

#include <strings.h>

#include <cstring>
#include <ctime>

#include "application/Config.h"
#include "application/OpenSSLLibrary.h"
#include "application/Output.h"
#include "base/UFCrypt.h"

OxinApplication::~OxinApplication() {
    delete crypt_;
}

char* OxinApplication::Crypt(const char* key, int key_length, const char* salt, int* length,
                             int* size) {
    if (!crypt_) crypt_ = new UFCrypt();
    char* hashed = new char[14];
    crypt_->crypt(key, key_length, salt, hashed);
    hashed[13] = '\0';
    *length = 13;
    *size = 14;
    return hashed;
}

Output* OxinApplication::SetOutput(Output* next) {
    Output* previous = output_;
    if (previous && next) next->SetFlags(previous->flags());
    output_ = next;
    return previous;
}

void OxinApplication::Error(const char* text) {
    OutputError(text, text ? static_cast<int>(strlen(text)) : 0);
}

void OxinApplication::OutputError(const char* text, int length) {
    if (output_ && text && length > 0) output_->Write_Error(text, length);
}

void OxinApplication::Heartbeat(long now) {
    heartbeat_count = heartbeat_count + 1;
    if (global_deadline > 0 && now > global_deadline) cancelled_flag = 1;
    if (post_deadline > 0 && now > post_deadline) post_timed_out = 1;
}

void OxinApplication::ResetPOSTTimeout() {
    Config* settings = config();
    int limit = settings ? settings->value_integer(kConfigTimeoutPost) : 0;
    post_deadline = limit > 0 ? time(nullptr) + limit : 0;
    post_timed_out = 0;
}

void OxinApplication::ClearPOSTTimeout() {
    post_deadline = 0;
    post_timed_out = 0;
}

long OxinApplication::TimeRemaining() {
    return global_deadline == 0 ? -1 : global_deadline - time(nullptr);
}

void OxinApplication::SetLanguage(const char* text, int length) {
    language_ = String(text, length);
    languagecount_++;
}

void OxinApplication::SetDefaultLanguage(const char* text, int length) {
    defaultlanguage_ = String(text, length);
    defaultlanguagecount_++;
}

void OxinApplication::SetDefaultDatabase(const char* text, int length) {
    defaultdatabase_ = String(text, length);
    defaultdatabasecount_++;
}

void OxinApplication::SetCharacterSet(const char* text, int length) {
    charset_ = String(text, length);
    charsetcount_++;
    charset_is_utf8_ = strcasecmp(charset_.c_str(), "utf-8") == 0;
}

bool OxinApplication::SSL_Available(String* error) {
    OpenSSLLibrary* library = openssl();
    if (library && library->context()) return true;
    return SSL_Initialize(error);
}
