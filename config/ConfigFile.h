#pragma once

#include <stddef.h>
#include <stdio.h>

// The settings of the engine's configuration file, read line by line.
//
//   # a comment
//   dir_oxin = /srv/oxin/scripts        a value of the configuration table
//   library builtin /usr/lib/oxin/mine.so
//   library database NAME /path/lib.so  (also commerce and system)
//   system NAME = value                 a system variable for every script
//   global NAME = value                 a global variable for every script
//   error OxOPEN = 3                    the default flags of a tag
//
// Values are the rest of the line with blanks trimmed, or a double-quoted
// text with \" and \\ escapes; integer values are decimal or 0x hexadecimal.
//
// The library that reads it is loaded by every request, so this uses the C
// library alone: the file is read into one buffer, parsed in place, and the
// entries point into it.
class ConfigFile {
  public:
    // Bytes of the file, which may hold NULs. An entry's name and value are
    // followed by a NUL too, to be handed on as C strings.
    struct Span {
        const char* data;
        int length;
    };

    struct Entry {
        enum Kind { Integer, Text, Library, System, Global, Error };
        enum LibraryKind { Builtin, Database, Commerce, SystemLibrary };
        Kind kind;
        int id;                   // of Integer and Text
        int integer;              // of Integer and Error
        LibraryKind library;      // of Library
        Span name{"", 0};         // of Library (not Builtin), System, Global, Error
        Span value{"", 0};        // of Text, System, Global; the path of Library
    };

    ConfigFile() = default;
    ~ConfigFile();
    ConfigFile(const ConfigFile&) = delete;
    ConfigFile& operator=(const ConfigFile&) = delete;

    // Reads and parses the file at path, all of it: true with every entry,
    // or false with none and "<path>: line N: <reason>" (or why the file
    // could not be read) in error().
    bool Read(const char* path);

    // The entries of the file in their order, valid while this lives.
    const Entry* entries() const { return entries_; }
    int count() const { return count_; }
    // The failure of Read; null if there was none, or no memory to say it.
    const char* error() const { return error_; }

  private:
    bool ReadText(FILE* in);
    bool ParseLines();
    bool ParseLine(char* begin, char* end);
    bool ParseLibrary(char* at, char* end, Entry* entry);
    bool ParseVariable(Span keyword, char* at, char* end, Entry* entry);
    bool ParseSetting(Span keyword, char* at, char* end, Entry* entry);
    bool Add(const Entry& entry);
    bool CannotRead(int error_number);
    bool Fail(const char* before, Span word = {"", 0}, const char* after = "");

    const char* path_ = nullptr;
    int line_number_ = 0;
    char* text_ = nullptr;  // the file, with one byte more for a last NUL
    size_t length_ = 0;
    Entry* entries_ = nullptr;
    int count_ = 0;
    int capacity_ = 0;
    char* error_ = nullptr;
};
