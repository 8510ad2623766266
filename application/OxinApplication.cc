#include "application/OxinApplication.h"

#include <strings.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "application/Config.h"
#include "application/OpenSSLLibrary.h"
#include "application/Output.h"
#include "base/UFCrypt.h"

OxinApplication::OxinApplication() {
    gethostname(hostname_, sizeof hostname_ - 1);
}

char* OxinApplication::currentdate(int* length) {
    tzset();
    time_t now = time(nullptr);
    tm local;
    localtime_r(&now, &local);
    char text[64];
    size_t used = strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S ", &local);
    // Whole hours only, the minutes dropped, as the date has always been.
    long west = timezone - (local.tm_isdst > 0 ? 3600 : 0);
    long zone = west / 3600 * 100;
    snprintf(text + used, sizeof text - used, west >= 0 ? "-%04ld" : "+%04ld",
             zone >= 0 ? zone : -zone);
    *length = static_cast<int>(strlen(text));
    char* copy = new char[*length + 1];
    memcpy(copy, text, *length + 1);
    return copy;
}

const char* OxinApplication::GetUserID() {
    if (!userid_[0]) snprintf(userid_, sizeof userid_, "%u", static_cast<unsigned>(geteuid()));
    return userid_;
}

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
