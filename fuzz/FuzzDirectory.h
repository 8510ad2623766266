#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <set>
#include <string>

#include "host/StandaloneApplication.h"

// A scratch data directory for the file formats' fuzz targets, made once per
// process in memory-backed storage where there is some, and removed with
// the files put there when the process ends.
//
// The file manager moves the working directory as it resolves paths, while
// libFuzzer reads and writes its corpus by relative paths: each input runs
// under a Session, which returns to the starting directory at its end.
class FuzzDirectory {
  public:
    class Session {
      public:
        Session() : directory_(open(".", O_RDONLY | O_DIRECTORY)) {}
        ~Session() {
            if (fchdir(directory_) != 0) abort();
            close(directory_);
        }

      private:
        int directory_;
    };

    FuzzDirectory() {
        Session session;
        char pattern[] = "/dev/shm/oxin-fuzz-XXXXXX";
        char fallback[] = "/tmp/oxin-fuzz-XXXXXX";
        const char* made = mkdtemp(pattern);
        if (!made) made = mkdtemp(fallback);
        path_ = made ? made : "/tmp";
        app_.files().InitializeDataDirectory(path_.c_str());
    }

    ~FuzzDirectory() {
        for (const std::string& file : files_)
            unlink(file.c_str());
        if (path_ != "/tmp") rmdir(path_.c_str());
    }

    // Replaces the file name with bytes.
    void Put(const char* name, const unsigned char* bytes, size_t size) {
        std::string file = path_ + "/" + name;
        files_.insert(file);
        FILE* out = fopen(file.c_str(), "wb");
        if (!out) abort();
        if (size) fwrite(bytes, 1, size, out);
        fclose(out);
    }

    StandaloneApplication& app() { return app_; }

  private:
    std::string path_;
    std::set<std::string> files_;
    StandaloneApplication app_;
};
