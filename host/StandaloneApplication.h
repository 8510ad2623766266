#pragma once

#include "application/Config.h"
#include "application/OxinApplication.h"
#include "extensions/UNIXExternalLibraryManager.h"
#include "files/UNIXFileManager.h"

// The application of programs that run outside a web request, such as the
// engine's tools and its tests: a real file manager and configuration with
// their defaults, the process's own ids, and the system's host name. The
// statements of every layer are registered with the machine, as in a request.
class StandaloneApplication : public OxinApplication {
  public:
    StandaloneApplication();

    FileManager* filemanager() override { return &files_; }
    ExternalLibraryManager* librarymanager() override { return &libraries_; }
    UNIXFileManager& files() { return files_; }
    Config* config() override { return &config_; }
    const char* lasterror() override;
    int processid() override;
    int threadid() override { return processid(); }
    const char* lockhostname() override;
    int lockexpiration() override { return config_.value_integer(kConfigLockExpiration); }
    void Sleep(int milliseconds) override;

  private:
    Config config_;
    UNIXFileManager files_;
    UNIXExternalLibraryManager libraries_;
};
