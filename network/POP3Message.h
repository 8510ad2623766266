#pragma once

#include <memory>

#include "base/HashTable.h"
#include "base/StringClass.h"
#include "files/File.h"
#include "network/POP3Header.h"

// One message of a POP3 mailbox: its number and size from LIST, and once
// fetched, the file that holds it as received (LF line ends) and its
// headers, the first of each name.
class POP3Message {
  public:
    POP3Message() = default;

    // Starts a fetch into file at path, taking the file; drops the
    // headers of an earlier fetch.
    void OpenFile(File* file, const String& path);
    // Writes one received line and an LF to the file, and takes the headers
    // from the lines before the first empty one.
    bool SaveLine(const char* line, int length);
    // Closes the message file; it stays on disk.
    void CloseFile();
    // The value of the header name, or null.
    const String* Header(const char* name) const;

    const String& path() const { return path_; }
    unsigned number() const { return number_; }
    long size() const { return size_; }
    void SetListing(unsigned number, long size) {
        number_ = number;
        size_ = size;
    }

  private:
    void TakeHeader(const char* line, int length);

    String path_;
    std::unique_ptr<File> file_;
    bool headers_ended_ = false;
    unsigned number_ = 0;
    long size_ = 0;
    mutable HashTable<POP3Header> headers_{1, 1, 12, 512};
};
