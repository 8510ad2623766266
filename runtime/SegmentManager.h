#pragma once

#include "base/StringClass.h"
#include "runtime/Segment.h"

class TaggedFile;

// The segments of a script, by id. Slot 0 stays empty until a load or
// Start() fills it; segments added later are never removed.
class SegmentManager {
  public:
    static constexpr int kSlotGrowth = 64;

    SegmentManager();
    // Deep-copies every segment.
    SegmentManager(const SegmentManager& other);
    SegmentManager& operator=(const SegmentManager&) = delete;
    virtual ~SegmentManager();

    // The segment where execution begins, created empty if its slot is.
    Segment* Start();
    // A new empty segment with the next id.
    Segment* Segment_Add();
    // The segment, or null for an id below 0, not below the count, or of an
    // empty slot.
    Segment* Segment_Get(int id) const;

    // Replaces all segments with the "segs" section of file. On failure the
    // text is in error() and the manager is unchanged.
    bool Read(TaggedFile* file);
    // Writes the "segs" section, as a section of its own; an empty slot is
    // written as a segment of no code.
    bool Write(TaggedFile* file);

    int start() const { return start_; }
    // Makes id the segment where execution begins (a writer's choice).
    void set_start(int id) { start_ = id; }
    int count() const { return count_; }
    int capacity() const { return capacity_; }

    virtual const String& error() { return error_; }
    virtual void Error(const String& text) { error_ = text; }

  private:
    bool Fail(TaggedFile* file);
    void Clear();

    Segment** segments_;
    int capacity_;
    int count_;
    int start_ = 0;
    String error_;
};
