#pragma once

#include "application/Output.h"
#include "base/HashTable.h"

class Config;

// One response header. A negative length is measured; owned strings (from
// new[]) are deleted with the header.
struct HTTPOutput_Header {
    HTTPOutput_Header(const char* name, int name_length, int name_owned, const char* value,
                      int value_length, int value_owned);
    HTTPOutput_Header(const HTTPOutput_Header&) = delete;
    HTTPOutput_Header& operator=(const HTTPOutput_Header&) = delete;
    ~HTTPOutput_Header();

    const char* name;
    int name_length;
    int name_owned;
    const char* value;
    int value_length;
    int value_owned;
};

template <>
struct HashTableKey<HTTPOutput_Header> {
    static const char* Text(const HTTPOutput_Header* header, int* length) {
        *length = header->name_length;
        return header->name;
    }
};

// One block of the response body. A growable link takes everything given;
// a fixed one only what fits.
struct HTTPOutput_Chain {
    HTTPOutput_Chain(int block_size, bool growable);
    HTTPOutput_Chain(const HTTPOutput_Chain&) = delete;
    HTTPOutput_Chain& operator=(const HTTPOutput_Chain&) = delete;
    ~HTTPOutput_Chain();

    // Appends what it takes of length bytes; returns that count.
    int Write(const char* data, int length);

    bool growable;
    char* buffer;
    int block_size;
    int capacity;
    int used = 0;
    HTTPOutput_Chain* next = nullptr;
};

// The web response: headers that may change until the first flush, and a
// body kept in a chain of blocks until the flush size is reached, so that a
// response that ends before that goes out in one pass with a Content-Length.
class HTTPOutput : public Output {
  public:
    HTTPOutput(int block_size, int flush_size);
    // Does not flush: only what a flush pushed out reaches the client.
    ~HTTPOutput() override;

    // Refused (owned strings freed, 0) once the headers went out; otherwise
    // replaces any header of the same name. 1 when taken.
    int Header(const char* name, int name_length, int name_owned, const char* value,
               int value_length, int value_owned) override;
    using Output::Header;
    int Write(const char* text, int length) override;
    int Flush() override { return Flush(0); }
    // Sends the headers at the first flush (with a Content-Length when it is
    // the final one), then the body kept so far. Returns the bytes written.
    int Flush(int final) override;
    int type() override { return 1; }

    // Adds "Content-Length" with the total written, unless one is set.
    void Header_ContentLength();
    void SetConfig(Config* config) { config_ = config; }
    // The size of blocks made from now on.
    void Set_BufferSize(int size) { block_size_ = size > 0 ? size : block_size_; }
    void Set_FlushSize(int size) { flush_size_ = size; }

    bool headers_sent() const { return headers_sent_ != 0; }
    HashTable<HTTPOutput_Header>& headers() { return headers_; }

  protected:
    // Sends the headers; called once, at the first flush.
    virtual void OutputHeaders() = 0;
    // Writes length bytes out; the count written, negative on failure.
    virtual int DoWrite(const char* text, int length) = 0;

  private:
    int WriteLink(HTTPOutput_Chain* link, bool* failed);
    int Delay();

    int block_size_;
    int flush_size_;
    int headers_sent_ = 0;
    HashTable<HTTPOutput_Header> headers_;
    HTTPOutput_Chain* first_;
    HTTPOutput_Chain* current_;
    long total_ = 0;
    long since_flush_ = 0;
    Config* config_ = nullptr;
    int delay_ = -1;
};
