#pragma once

#include <gtest/gtest.h>
#include <netdb.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <random>
#include <regex>
#include <string>

#include "tests/support/TempDirectory.h"

// A socket bound to host (a numeric address) and port, or with connecting
// connected to them; -1 when that fails.
inline int LoopbackSocket(const std::string& host, int port, bool connecting) {
    addrinfo hints = {}, *found = nullptr;
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_STREAM;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return -1;
    int fd = socket(found->ai_family, SOCK_STREAM, 0);
    if ((connecting ? connect : bind)(fd, found->ai_addr, found->ai_addrlen) != 0) {
        close(fd);
        fd = -1;
    }
    freeaddrinfo(found);
    return fd;
}

// Whether something accepts connections on host and port.
inline bool AcceptsConnections(const std::string& host, int port) {
    int fd = LoopbackSocket(host, port, true);
    if (fd >= 0) close(fd);
    return fd >= 0;
}

// A port from which count ports are free on 127.0.0.1 and [::1] right now,
// below the range that the kernel gives outgoing connections.
inline int FreeLoopbackPort(int count = 1) {
    static std::mt19937 random(std::random_device{}());
    for (;;) {
        int port = 20000 + random() % 12000, free = 0;
        for (const char* host : {"127.0.0.1", "::1"}) {
            for (int i = 0, fd; i < count && (fd = LoopbackSocket(host, port + i, false)) >= 0;
                 i++) {
                close(fd);
                free++;
            }
        }
        if (free == 2 * count) return port;
    }
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
            prctl(PR_SET_PDEATHSIG, SIGTERM);  // ends with the test, however that ends
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
