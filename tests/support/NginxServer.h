#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/TempDirectory.h"

// A port of the loopback interface that nobody listens on right now.
inline int FreeLoopbackPort() {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), size);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    close(fd);
    return ntohs(address.sin_port);
}

// Whether something accepts connections on host (numeric, 4 or 6) and port.
inline bool AcceptsConnections(const std::string& host, int port) {
    bool v6 = host.find(':') != std::string::npos;
    int fd = socket(v6 ? AF_INET6 : AF_INET, SOCK_STREAM, 0);
    sockaddr_storage storage = {};
    socklen_t size;
    if (v6) {
        auto* address = reinterpret_cast<sockaddr_in6*>(&storage);
        address->sin6_family = AF_INET6;
        address->sin6_port = htons(port);
        inet_pton(AF_INET6, host.c_str(), &address->sin6_addr);
        size = sizeof *address;
    } else {
        auto* address = reinterpret_cast<sockaddr_in*>(&storage);
        address->sin_family = AF_INET;
        address->sin_port = htons(port);
        inet_pton(AF_INET, host.c_str(), &address->sin_addr);
        size = sizeof *address;
    }
    bool accepted = connect(fd, reinterpret_cast<sockaddr*>(&storage), size) == 0;
    close(fd);
    return accepted;
}

// An nginx of the test's own: its configuration, pid file, logs and
// temporary paths in a fresh directory, the given server blocks inside the
// http block, and nothing but the loopback addresses that the blocks name.
// The constructor waits until every address in listening accepts; the
// destructor stops the server. A missing nginx fails the test, naming the
// Debian package.
class NginxServer {
  public:
    // servers: nginx server blocks as text; "$DIR" in it stands for the
    // server's directory. listening: "host port" pairs to wait for.
    NginxServer(std::string servers, const std::vector<std::pair<std::string, int>>& listening) {
        if (access(kNginx, X_OK) != 0) {
            ADD_FAILURE() << kNginx << " is missing: install the Debian package nginx";
            return;
        }
        for (size_t at; (at = servers.find("$DIR")) != std::string::npos;) {
            servers.replace(at, 4, directory_.path());
        }
        WriteConfiguration(servers);
        Start();
        for (const auto& [host, port] : listening) {
            if (!WaitUntilAccepting(host, port)) {
                ADD_FAILURE() << "nginx does not accept on " << host << " port " << port << ": "
                              << ErrorLog();
                return;
            }
        }
        running_ = true;
    }
    ~NginxServer() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        int status;
        waitpid(pid_, &status, 0);
    }
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    bool running() const { return running_; }
    std::string Path(const std::string& name) const { return directory_.Path(name); }
    std::string ErrorLog() const {
        std::ifstream log(Path("error.log"));
        return std::string(std::istreambuf_iterator<char>(log), {});
    }

  private:
    static constexpr const char* kNginx = "/usr/sbin/nginx";

    void WriteConfiguration(const std::string& servers) {
        const std::string d = directory_.path();
        std::ofstream out(Path("nginx.conf"));
        out << "daemon off;\nmaster_process off;\nworker_processes 1;\n"
            << "pid " << d << "/nginx.pid;\nerror_log " << d << "/error.log info;\n"
            << "events { worker_connections 64; }\nhttp {\n  access_log off;\n"
            << "  client_body_temp_path " << d << "/body;\n  proxy_temp_path " << d
            << "/proxy;\n  fastcgi_temp_path " << d << "/fastcgi;\n  uwsgi_temp_path " << d
            << "/uwsgi;\n  scgi_temp_path " << d << "/scgi;\n"
            << servers << "\n}\n";
    }

    void Start() {
        std::string configuration = Path("nginx.conf");
        std::string prefix = directory_.path() + "/";
        std::string log = Path("error.log");
        pid_ = fork();
        if (pid_ == 0) {
            execl(kNginx, kNginx, "-p", prefix.c_str(), "-e", log.c_str(), "-c",
                  configuration.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
    }

    bool WaitUntilAccepting(const std::string& host, int port) {
        for (int tries = 0; tries < 200; tries++) {
            if (AcceptsConnections(host, port)) return true;
            int status;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = 0;
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    }

    TempDirectory directory_;
    pid_t pid_ = 0;
    bool running_ = false;
};
