#pragma once

#include <string>

class FileManager;

// Lists what a compiled file holds as assembly text that Assembler reads
// back: the header, the directory (as comments), the dictionary, the system
// and global variable tables, and every code segment.
class Disassembler {
  public:
    // Appends the listing of the file at path to out; false with the reason
    // in error().
    bool List(FileManager* files, const char* path, std::string* out);
    const std::string& error() const { return error_; }

  private:
    std::string error_;
};
