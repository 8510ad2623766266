#pragma once

#include <string>

class AssemblyNames;
class Segment;

// The code of one segment as assembly text: one instruction a line, jump
// targets as labels "L<offset>:", and dictionary operands followed by their
// text in a comment. Words that are no instruction print as ".word" and
// bytes cut off at the end as ".byte", so that every segment can be
// assembled back to the same bytes.
class SegmentListing {
  public:
    // names gives the texts of operands; it may be null. For local
    // variables it must have entered the segment listed.
    explicit SegmentListing(const AssemblyNames* names) : names_(names) {}

    // Appends the listing of segment to out.
    void List(const Segment& segment, std::string* out) const;

    // Text as a quoted assembly string.
    static std::string Quote(const char* text, int length);
    // A double as the shortest text that reads back the same.
    static std::string FormatDouble(double value);

  private:
    const AssemblyNames* names_;
};
