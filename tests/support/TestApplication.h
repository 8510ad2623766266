#pragma once

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "files/UNIXFileManager.h"
#include "host/Config.h"
#include "host/OxinApplication.h"

// An application for tests: a real UNIXFileManager and Config, the process's
// own ids, and a host name that a test may set.
class TestApplication : public OxinApplication {
  public:
    TestApplication() : files_(this) {}

    FileManager* filemanager() override { return &files_; }
    UNIXFileManager& files() { return files_; }
    Config* config() override { return &config_; }
    const char* lasterror() override {
        const char* text = strerror(errno);
        return text && *text ? text : "Unknown error";
    }
    int processid() override { return getpid(); }
    int threadid() override { return getpid(); }
    const char* lockhostname() override {
        const char* name = config_.value_string(kConfigLockHostname, nullptr);
        if (name && *name) return name;
        char host[256] = {};
        gethostname(host, 255);
        config_.SetValue(kConfigLockHostname, strdup_new(host), static_cast<int>(strlen(host)), 1);
        return config_.value_string(kConfigLockHostname, nullptr);
    }
    int lockexpiration() override { return config_.value_integer(kConfigLockExpiration); }
    void Sleep(int milliseconds) override { usleep(milliseconds * 1000); }

  private:
    static char* strdup_new(const char* text) {
        size_t n = strlen(text);
        char* copy = new char[n + 1];
        memcpy(copy, text, n + 1);
        return copy;
    }

    Config config_;
    UNIXFileManager files_;
};
