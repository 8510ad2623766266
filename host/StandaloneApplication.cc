#include "host/StandaloneApplication.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "database/ExternalDatabase.h"
#include "database/XBaseDatabase.h"
#include "statements/Statements.h"

StandaloneApplication::StandaloneApplication()
    : files_(this),
      openssl_(std::make_unique<OpenSSLLibrary>()),
      network_(std::make_unique<UNIXNetworkManager>(this)) {
    Register_Statements();
    XBaseDatabase::Register();
    ExternalDatabase::Register();
}

LibraryNames* StandaloneApplication::librarynames(int kind) {
    if (kind == kCommerceLibraries) return &commerce_;
    if (kind == kSystemLibraries) return &systems_;
    if (kind == kDatabaseLibraries) return &databases_;
    return nullptr;
}

const char* StandaloneApplication::lasterror() {
    const char* text = strerror(errno);
    return text && *text ? text : "Unknown error";
}

int StandaloneApplication::processid() {
    return getpid();
}

const char* StandaloneApplication::lockhostname() {
    const char* name = config_.value_string(kConfigLockHostname, nullptr);
    if (name && *name) return name;
    char host[256] = {};
    gethostname(host, 255);
    int length = static_cast<int>(strlen(host));
    char* copy = new char[length + 1];
    memcpy(copy, host, length + 1);
    config_.SetValue(kConfigLockHostname, copy, length, 1);
    return config_.value_string(kConfigLockHostname, nullptr);
}

void StandaloneApplication::Sleep(int milliseconds) {
    usleep(milliseconds * 1000);
}

bool StandaloneApplication::SSL_Initialize(String* error) {
    return openssl_->Initialize(&config_, error);
}

void* StandaloneApplication::SSL_GetFunction(const char* name) {
    return SSL_Available(nullptr) ? openssl_->GetFunction(name) : nullptr;
}
