#pragma once

#include <string>
#include <vector>

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
class ConfigFile {
  public:
    struct Entry {
        enum Kind { Integer, Text, Library, System, Global, Error };
        Kind kind;
        int id = 0;             // of Integer and Text
        int integer = 0;        // of Integer and Error
        std::string kind_name;  // of Library: builtin, database, commerce, system
        std::string name;       // of Library (not builtin), System, Global, Error
        std::string value;      // of Text, System, Global; the path of Library
    };

    // Parses the file at path; false with "<path>: line N: <reason>" in error().
    bool Read(const std::string& path);
    // Parses text as the file path would hold it.
    bool Parse(const std::string& path, const std::string& text);

    const std::vector<Entry>& entries() const { return entries_; }
    const std::string& error() const { return error_; }

  private:
    bool Line(const std::string& line);
    bool Fail(const std::string& reason);

    std::string path_;
    int line_number_ = 0;
    std::vector<Entry> entries_;
    std::string error_;
};
