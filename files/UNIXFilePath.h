#pragma once

#include "base/StringClass.h"

// A path split into its elements, with a collapsed view in which "." is gone
// and ".." has removed what it climbs out of. Parsing and collapsing work on
// the text alone and never touch the disk.
//
// Runs of "/" separate elements and a trailing run is dropped. Element 0 of
// an absolute path stands for the root and reads as "/". Collapsing never
// climbs above the root of an absolute path; a relative path keeps the ".."
// elements that lead out of it.
class UNIXFilePath {
  public:
    explicit UNIXFilePath(const char* path, int length = -1);
    ~UNIXFilePath();
    UNIXFilePath(const UNIXFilePath&) = delete;
    UNIXFilePath& operator=(const UNIXFilePath&) = delete;

    bool absolute() const { return absolute_; }
    int elements() const { return element_count_; }
    // The text of element i, NUL-terminated; "/" for the root.
    const char* Element(int i) const;
    // Elements first to last joined with "/".
    String Span(int first, int last) const;

    int collapsed_count();
    // The text of the i-th collapsed element.
    const char* Collapsed(int i);
    // True when the collapsed elements of this path begin those of other.
    bool Contains(UNIXFilePath& other);
    // True when both have as many collapsed elements and all but the last
    // skip of them are equal.
    bool Matches(UNIXFilePath& other, int skip = 0);
    // The last collapsed element, or "." when there is none, when only the
    // root is left, or when the last one is "..".
    String Collapsed_Filename();
    // Everything before the collapsed file name ("." or "/" when nothing).
    String Collapsed_Directory();
    // The collapsed elements joined with "/"; "/" or "." when none are left.
    String Collapsed_Path();

  private:
    void Parse();
    void Collapse();
    // Collapsed elements first to last (indices into collapsed_) joined.
    String Join(int first, int last);

    char* path_;
    int length_;
    int element_count_ = 0;
    int* elements_ = nullptr;
    bool absolute_ = false;
    int collapsed_count_ = -1;
    int* collapsed_ = nullptr;
};
