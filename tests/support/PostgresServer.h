#pragma once

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <string>

#include "tests/support/TempDirectory.h"

// A PostgreSQL server of the test's own (and a pgbouncer in front of it when
// asked), started by tests/support/postgres_server.py in a fresh directory
// and stopped, with its files, when this goes. A start that fails (a missing
// program names its Debian package) fails the test with the script's text.
class PostgresServer {
  public:
    explicit PostgresServer(bool bouncer = false) {
        std::string output;
        // Stopped by the script's watcher, too, if this process dies first.
        int status = Run("start", std::string(bouncer ? " --bouncer" : "") + " --owner " +
                                      std::to_string(getpid()),
                         output);
        for (size_t at = 0, end; at < output.size(); at = end + 1) {
            end = output.find('\n', at);
            if (end == std::string::npos) end = output.size();
            std::string line = output.substr(at, end - at);
            size_t equals = line.find('=');
            if (equals != std::string::npos && line.find_first_of(" \t") > equals)
                values_[line.substr(0, equals)] = line.substr(equals + 1);
        }
        running_ = status == 0 && !conninfo().empty();
        if (!running_) ADD_FAILURE() << "PostgreSQL did not start: " << output;
    }
    ~PostgresServer() {
        std::string output;
        if (Run("stop", "", output) != 0) ADD_FAILURE() << "PostgreSQL did not stop: " << output;
    }
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;

    bool running() const { return running_; }
    // TCP on 127.0.0.1 with the password; pgbouncer in transaction mode (""
    // unless asked for).
    std::string conninfo() const { return Value("CONNINFO"); }
    std::string bouncer_conninfo() const { return Value("BOUNCER_CONNINFO"); }
    // Any other printed value, such as SOCKET_CONNINFO, PORT or SOCKET_DIR.
    std::string Value(const std::string& key) const {
        auto found = values_.find(key);
        return found == values_.end() ? "" : found->second;
    }
    const std::string& directory() const { return directory_.path(); }

  private:
    // Runs the script's command on the directory; its exit status, and its
    // output (standard error too) in output.
    int Run(const std::string& command, const std::string& options, std::string& output) {
        std::string line = "/usr/bin/python3 " OXIN_SOURCE_DIR "/tests/support/postgres_server.py " +
                           command + " '" + directory_.path() + "'" + options + " 2>&1";
        FILE* pipe = popen(line.c_str(), "r");
        if (pipe == nullptr) {
            output = "cannot run " + line;
            return -1;
        }
        char buffer[4096];
        for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
        int status = pclose(pipe);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    TempDirectory directory_;
    std::map<std::string, std::string> values_;
    bool running_ = false;
};
