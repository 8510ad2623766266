#pragma once

#include <cstdint>
#include <memory>

#include "base/List.h"
#include "base/StringClass.h"
#include "network/HTTPResponseStream_Header.h"

class NetworkConnection;

// The response to one HTTP/1.x request, read from the connection that
// carried the request: the status line and headers first, then the body,
// whether chunked, of a given length or running to the end of the
// connection. The stream owns the connection. The header lines, the status
// line first, are the list's items.
class HTTPResponseStream : public List<HTTPResponseStream_Header> {
  public:
    // Reads from connection (owned from now on), waiting at most timeout
    // seconds for each read.
    HTTPResponseStream(NetworkConnection* connection, int timeout);
    ~HTTPResponseStream() override;

    // Reads the status line and the headers up to the empty line, and the
    // size of the first chunk of a chunked body. False with error() set when
    // the connection fails or the first chunk size is bad.
    bool Read_Headers();
    // Reads up to length bytes of the body: the count, 0 at its end, or a
    // negative result with error() set.
    int Read(char* buffer, int length);
    // Closes the connection; reads after it give an error.
    void Close();

    // The status code, or -1 before a status line was read.
    int status() const { return status_; }
    // The body's length from Content-Length, or -1 when unknown or chunked.
    int content_length() const { return content_length_; }
    bool chunked() const { return chunked_; }
    // Body bytes delivered so far.
    int64_t bytes_read() const { return bytes_read_; }
    const String& error() const { return error_; }
    void Error(const String& text) { error_ = text; }

  private:
    int Read_Chunked(char* buffer, int length);
    int Read_Connection(char* buffer, int length);
    // Reads the size line of the next chunk; false for a bad size.
    bool Read_ChunkStart();
    // Reads the line break that ends a chunk; false for anything else.
    bool Read_ChunkEnd();
    void Apply_Header(const HTTPResponseStream_Header& header);
    // The line read, or false with the connection's error taken.
    bool Read_Line(String& line);

    int status_ = -1;
    int content_length_ = -1;
    std::unique_ptr<NetworkConnection> connection_;
    int timeout_;
    bool chunked_ = false;
    int64_t chunk_size_ = 0;
    int64_t chunk_offset_ = 0;
    int64_t bytes_read_ = 0;
    String error_;
};
