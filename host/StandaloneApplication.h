#pragma once

#include <memory>

#include "application/Config.h"
#include "application/OpenSSLLibrary.h"
#include "application/OxinApplication.h"
#include "extensions/ExternalDatabaseLibraryManager.h"
#include "extensions/CommerceLibraryManager.h"
#include "extensions/SystemLibraryManager.h"
#include "extensions/UNIXExternalLibraryManager.h"
#include "files/UNIXFileManager.h"
#include "network/UNIXNetworkManager.h"

// The application of programs that run outside a web request, such as the
// engine's tools and its tests: a real file manager and configuration with
// their defaults, the process's own ids, and the system's host name. The
// statements of every layer are registered with the machine, as in a request.
class StandaloneApplication : public OxinApplication {
  public:
    StandaloneApplication();

    FileManager* filemanager() override { return &files_; }
    NetworkManager* networkmanager() override { return network_.get(); }
    ExternalLibraryManager* librarymanager() override { return &libraries_; }
    ExternalDatabaseLibraryManager* databasemanager() override { return &databases_; }
    CommerceLibraryManager* commercemanager() override { return &commerce_; }
    SystemLibraryManager* systemlibrarymanager() override { return &systems_; }
    LibraryNames* librarynames(int kind) override;
    UNIXFileManager& files() { return files_; }
    Config* config() override { return &config_; }
    const char* lasterror() override;
    int processid() override;
    int threadid() override { return processid(); }
    const char* lockhostname() override;
    int lockexpiration() override { return config_.value_integer(kConfigLockExpiration); }
    void Sleep(int milliseconds) override;
    bool SSL_Initialize(String* error) override;
    void* SSL_GetFunction(const char* name) override;
    OpenSSLLibrary* openssl() override { return openssl_.get(); }

  private:
    Config config_;
    UNIXFileManager files_;
    UNIXExternalLibraryManager libraries_;
    ExternalDatabaseLibraryManager databases_{this};
    CommerceLibraryManager commerce_{this};
    SystemLibraryManager systems_{this};
    // OpenSSL outlives the connections that the network manager made.
    std::unique_ptr<OpenSSLLibrary> openssl_;
    std::unique_ptr<UNIXNetworkManager> network_;
};
