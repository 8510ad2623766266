#pragma once

#include <map>
#include <string>

#include "network/NetworkManager.h"
#include "tests/support/MemoryConnection.h"

// A manager whose connections go to memory: a host given a response gets
// it; the host "echo" answers with the request it was sent; any other host
// refuses. It keeps the host and port of the last connection and the
// connection itself (owned by the caller).
class MemoryNetworkManager : public NetworkManager {
  public:
    MemoryNetworkManager() : NetworkManager(nullptr) {}

    void Serve(const std::string& host, const std::string& response, int piece = 1 << 20) {
        responses_[host] = {response, piece};
    }
    NetworkConnection* Connect(const char* host, int port, int) override {
        host_ = host;
        port_ = port;
        auto found = responses_.find(host_);
        if (found == responses_.end() && host_ != "echo") {
            Error("Connection refused");
            return nullptr;
        }
        last_ = host_ == "echo" ? new MemoryConnection("", 1 << 20, -1, true)
                                : new MemoryConnection(found->second.first, found->second.second);
        return last_;
    }

    std::string host_;
    int port_ = 0;
    MemoryConnection* last_ = nullptr;

  private:
    std::map<std::string, std::pair<std::string, int>> responses_;
};
