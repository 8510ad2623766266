#include "network/HTTPResponseStream.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "network/NetworkConnection.h"

namespace {

// Lines of the head and chunk size lines are read this many bytes at a time.
constexpr int kLineBlock = 512;

bool is_blank_line(const String& line) {
    return (line.length() == 2 && memcmp(line.c_str(), "\r\n", 2) == 0) ||
           (line.length() == 1 && line.c_str()[0] == '\n');
}

bool equals_ignoring_case(const String& text, const char* word) {
    return strcasecmp(text.c_str(), word) == 0;
}

}  // namespace

HTTPResponseStream::HTTPResponseStream(NetworkConnection* connection, int timeout)
    : List<HTTPResponseStream_Header>(1), connection_(connection), timeout_(timeout) {}

HTTPResponseStream::~HTTPResponseStream() = default;

void HTTPResponseStream::Close() { connection_.reset(); }

bool HTTPResponseStream::Read_Line(String& line) {
    line = String();
    if (!connection_) {
        Error("Connection closed");
        return false;
    }
    if (connection_->ReadLine(line, timeout_, kLineBlock) < 0) {
        Error(connection_->error());
        return false;
    }
    return true;
}

bool HTTPResponseStream::Read_Headers() {
    Dump();
    status_ = -1;
    content_length_ = -1;
    chunked_ = false;
    chunk_size_ = chunk_offset_ = 0;
    String line;
    if (!Read_Line(line)) return false;
    if (line.length() == 0) {
        Error("Connection closed before the response");
        return false;
    }
    line.StripWhitespace();
    status_ = static_cast<int>(strtol(line.after(" ").c_str(), nullptr, 10));
    Insert(new HTTPResponseStream_Header(line), ListHead);
    for (;;) {
        if (!Read_Line(line)) return false;
        // A head cut off by the end of the connection ends where it stops.
        if (line.length() == 0 || is_blank_line(line)) break;
        line.StripWhitespace();
        auto* header = new HTTPResponseStream_Header(line);
        Insert(header, ListTail);
        Apply_Header(*header);
    }
    return chunked_ ? Read_ChunkStart() : true;
}

void HTTPResponseStream::Apply_Header(const HTTPResponseStream_Header& header) {
    if (equals_ignoring_case(header.name(), "Transfer-Encoding")) {
        if (equals_ignoring_case(header.value(), "chunked")) chunked_ = true;
        content_length_ = -1;
    } else if (equals_ignoring_case(header.name(), "Content-Length") && !chunked_) {
        long length = strtol(header.value().c_str(), nullptr, 10);
        content_length_ = length < 0 || length > 0x7fffffff ? -1 : static_cast<int>(length);
    }
}

int HTTPResponseStream::Read_Connection(char* buffer, int length) {
    if (!connection_) {
        Error("Connection closed");
        return -1;
    }
    int count = connection_->Read(buffer, length, timeout_);
    if (count < 0) Error(connection_->error());
    return count;
}

int HTTPResponseStream::Read(char* buffer, int length) {
    if (length <= 0) return 0;
    if (chunked_) return Read_Chunked(buffer, length);
    if (content_length_ >= 0) {
        int64_t left = content_length_ - bytes_read_;
        if (left <= 0) return 0;
        if (left < length) length = static_cast<int>(left);
    }
    int count = Read_Connection(buffer, length);
    if (count > 0) bytes_read_ += count;
    return count;
}

int HTTPResponseStream::Read_Chunked(char* buffer, int length) {
    if (chunk_size_ == 0) return 0;
    int64_t left = chunk_size_ - chunk_offset_;
    if (left < length) length = static_cast<int>(left);
    int count = Read_Connection(buffer, length);
    if (count <= 0) return count;
    bytes_read_ += count;
    chunk_offset_ += count;
    if (chunk_offset_ == chunk_size_) {
        if (!Read_ChunkEnd() || !Read_ChunkStart()) return -1;
        if (chunk_size_ == 0 && !Read_ChunkEnd()) return -1;
    }
    return count;
}

bool HTTPResponseStream::Read_ChunkStart() {
    String line;
    if (!Read_Line(line)) return false;
    // strtol stops at a chunk extension behind ";".
    long long size = strtoll(line.c_str(), nullptr, 16);
    chunk_offset_ = 0;
    chunk_size_ = size;
    if (size < 0) {
        Error("Invalid chunk size");
        return false;
    }
    return true;
}

bool HTTPResponseStream::Read_ChunkEnd() {
    char terminator[2];
    int have = 0;
    while (have < 2) {
        int count = Read_Connection(terminator + have, 2 - have);
        if (count < 0) return false;
        if (count == 0) break;
        have += count;
    }
    if (have != 2 || terminator[0] != '\r' || terminator[1] != '\n') {
        Error("Invalid chunk terminator");
        return false;
    }
    return true;
}
