#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "network/NetworkConnection.h"

// A connection whose peer is a text in memory: reads deliver it at most
// piece bytes at a time (so that every split of a response is met), and
// writes are kept for the test to look at. With fail_at set, a read that
// reaches that offset fails instead, as a broken connection would.
class MemoryConnection : public NetworkConnection {
  public:
    explicit MemoryConnection(std::string incoming, int piece = 1 << 20, long fail_at = -1)
        : NetworkConnection(nullptr), incoming_(std::move(incoming)), piece_(piece),
          fail_at_(fail_at) {}

    bool EstablishTLSConnection(const char*, x509_st*, evp_pkey_st*, int) override {
        return false;
    }
    x509_st* Server_Certificate() override { return nullptr; }

    int Read(char* buffer, int length, int) override {
        Answer();
        if (Failing()) return -1;
        size_t count = std::min<size_t>({static_cast<size_t>(length), static_cast<size_t>(piece_),
                                         incoming_.size() - position_});
        if (fail_at_ >= 0)
            count = std::min<size_t>(count, static_cast<size_t>(fail_at_) - position_);
        memcpy(buffer, incoming_.data() + position_, count);
        position_ += count;
        return static_cast<int>(count);
    }
    int ReadLine(String& out, int, int) override {
        Answer();
        if (Failing()) return -1;
        size_t end = incoming_.find('\n', position_);
        end = end == std::string::npos ? incoming_.size() : end + 1;
        if (fail_at_ >= 0 && end > static_cast<size_t>(fail_at_)) {
            position_ = fail_at_;
            return Failing() ? -1 : 0;
        }
        out.assign(incoming_.data() + position_, static_cast<int>(end - position_));
        position_ = end;
        return out.length();
    }
    int Write(const char* buffer, int length, int) override {
        written_.append(buffer, length);
        return length;
    }
    using NetworkConnection::Write;

    const std::string& written() const { return written_; }
    size_t position() const { return position_; }

    // Makes the response, at the first read, a plain-text echo of the
    // request written before.
    void Echo() { echo_ = true; }

  private:
    void Answer() {
        if (!echo_) return;
        echo_ = false;
        incoming_ = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n" + written_;
    }
    bool Failing() {
        if (fail_at_ < 0 || position_ < static_cast<size_t>(fail_at_)) return false;
        Error("Connection reset by peer");
        return true;
    }

    std::string incoming_;
    int piece_;
    long fail_at_;
    size_t position_ = 0;
    std::string written_;
    bool echo_ = false;
};
