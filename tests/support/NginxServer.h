#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <string>

#include "tests/support/TempDirectory.h"

// A socket bound to a free port of 127.0.0.1, given in *port; with
// listening, it listens (and, never accepting, answers nothing).
inline int LoopbackSocket(int* port, bool listening) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(listening ? listen(fd, 8) : 0, 0);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    *port = ntohs(address.sin_port);
    return fd;
}

// A port of the loopback interface that nobody listens on right now.
inline int FreeLoopbackPort() {
    int port, fd = LoopbackSocket(&port, false);
    close(fd);
    return port;
}

// Whether something accepts connections on host (a numeric address) and port.
inline bool AcceptsConnections(const std::string& host, int port) {
    addrinfo hints = {}, *found = nullptr;
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_STREAM;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return false;
    int fd = socket(found->ai_family, SOCK_STREAM, 0);
    bool accepted = connect(fd, found->ai_addr, found->ai_addrlen) == 0;
    close(fd);
    freeaddrinfo(found);
    return accepted;
}

// An nginx of the test's own, its configuration, pid file, logs and
// temporary paths in a fresh directory, serving the given server blocks
// ("$DIR" in them stands for that directory). The constructor waits until
// every "listen host:port" of the blocks accepts; the destructor stops the
// server. A missing nginx fails the test, naming the Debian package.
class NginxServer {
  public:
    explicit NginxServer(std::string servers) {
        for (size_t at; (at = servers.find("$DIR")) != std::string::npos;)
            servers.replace(at, 4, directory_.path());
        std::ofstream(Path("nginx.conf"))
            << "daemon off; master_process off; pid nginx.pid; error_log error.log;\n"
            << "events {}\nhttp { access_log off; client_body_temp_path body; proxy_temp_path "
            << "proxy; fastcgi_temp_path fastcgi; uwsgi_temp_path uwsgi; scgi_temp_path scgi;\n"
            << servers << "\n}\n";
        if (access(kNginx, X_OK) != 0) {
            ADD_FAILURE() << kNginx << " is missing: install the Debian package nginx";
            return;
        }
        std::string prefix = directory_.path() + "/", log = Path("error.log");
        if ((pid_ = fork()) == 0) {
            execl(kNginx, kNginx, "-p", prefix.c_str(), "-e", log.c_str(), "-c", "nginx.conf",
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        std::regex listen("listen \\[?([0-9a-f.:]*[0-9a-f])\\]?:([0-9]+)");
        for (std::sregex_iterator it(servers.begin(), servers.end(), listen), end; it != end; ++it)
            if (!WaitUntilAccepting((*it)[1], std::stoi((*it)[2]))) return;
        running_ = true;
    }
    ~NginxServer() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    bool running() const { return running_; }
    std::string Path(const std::string& name) const { return directory_.Path(name); }

  private:
    static constexpr const char* kNginx = "/usr/sbin/nginx";

    bool WaitUntilAccepting(const std::string& host, int port) {
        for (int tries = 0; tries < 200; tries++) {
            if (AcceptsConnections(host, port)) return true;
            if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
                pid_ = 0;
                break;
            }
            usleep(50000);
        }
        std::ifstream log(Path("error.log"));
        ADD_FAILURE() << "nginx does not accept on " << host << " port " << port << ": "
                      << std::string(std::istreambuf_iterator<char>(log), {});
        return false;
    }

    TempDirectory directory_;
    pid_t pid_ = 0;
    bool running_ = false;
};
