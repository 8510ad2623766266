#pragma once

#include <cstdint>
#include <string>

class FileManager;
class String;
class TaggedFile;

// Lists what a compiled file holds as assembly text that Assembler reads
// back: the header, the directory (as comments), the dictionary, the system
// and global variable tables, the functions with their parameters and
// locals, the localized pieces and languages, and every code segment.
class Disassembler {
  public:
    // Appends the listing of the file at path to out; false with the reason
    // in error(): the path, the part that failed, its offset in the file and
    // the loader's text.
    bool List(FileManager* files, const char* path, std::string* out);
    const std::string& error() const { return error_; }

  private:
    bool Fail(const TaggedFile& file, const char* path, uint32_t section, const String& text);

    std::string error_;
};
