#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "network/NetworkConnection.h"

// A connection whose peer is a text in memory: reads deliver it at most
// piece bytes at a time (so that every split of a response is met), and
// writes are kept for the test to look at. With fail_at set, a read at that
// offset fails, as a broken connection would. With echo, the text is made
// at the first read: a plain-text response that echoes the request written.
class MemoryConnection : public NetworkConnection {
  public:
    explicit MemoryConnection(std::string incoming, int piece = 1 << 20, long fail_at = -1,
                              bool echo = false)
        : NetworkConnection(nullptr),
          incoming_(std::move(incoming)),
          piece_(piece),
          fail_at_(fail_at < 0 ? std::string::npos : fail_at),
          echo_(echo) {}

    bool EstablishTLSConnection(const char*, x509_st*, evp_pkey_st*, int) override { return false; }
    x509_st* Server_Certificate() override { return nullptr; }
    int Read(char* buffer, int length, int) override {
        if (!Ready()) return -1;
        size_t count = std::min({static_cast<size_t>(length), static_cast<size_t>(piece_),
                                 std::min(incoming_.size(), fail_at_) - position_});
        memcpy(buffer, incoming_.data() + position_, count);
        position_ += count;
        return static_cast<int>(count);
    }
    int ReadLine(String& out, int, int) override {
        if (!Ready()) return -1;
        // Up to the line feed, the break or the end; empty once at the end.
        size_t limit = std::min(incoming_.size(), fail_at_);
        size_t feed = incoming_.find('\n', position_);
        size_t end = position_ >= limit ? position_
                     : feed == std::string::npos ? limit
                                                 : std::min(feed + 1, limit);
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

  private:
    bool Ready() {
        if (echo_) incoming_ = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n" + written_;
        echo_ = false;
        if (position_ < fail_at_) return true;
        Error("Connection reset by peer");
        return false;
    }

    std::string incoming_;
    int piece_;
    size_t fail_at_;
    bool echo_;
    size_t position_ = 0;
    std::string written_;
};
