#pragma once

#include <cstdint>

// One row of the table of language tags: what a runtime error of the tag
// does. flags: kDisplay shows it, kFatal ends the run.
struct TagErrorSetting {
    static constexpr unsigned kDisplay = 1;
    static constexpr unsigned kFatal = 2;

    int tag;
    const char* name;
    const char* variable;  // the global that receives the message; null in the last row
    unsigned flags;
};

constexpr int kTagRows = 77;          // the last row is empty
constexpr int kTagExpression = 62;    // "(in expression)"
constexpr int kTagDo = 22;            // OxDO
constexpr int kTagAsynchronous = 75;  // OxASYNCHRONOUS

// The process-wide defaults, copied by every machine at construction. The
// configuration may change them before the first machine exists.
extern TagErrorSetting tag_default_errorsettings[kTagRows];

// Finds the row of a tag keyword: a tag name in lower case ("oxopen",
// "oxin", "expression"), or "oxfuncreturn" or "oxasync".
class TagLookup {
  public:
    // The row number, or -1. The name is lowered byte by byte and must match
    // a keyword exactly; names over 18 characters are never found.
    static int Lookup(const char* name, int length);
};
