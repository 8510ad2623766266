#pragma once

#include "base/StringClass.h"

// The key of one element of an aggregate: an array position (0 or more) or a
// structure member name (index -1). Member names compare case-insensitively.
class AggregateIndex {
  public:
    // A structure index with an empty name.
    AggregateIndex() = default;
    // Copies the name and the index, not the serialized cache.
    AggregateIndex(const AggregateIndex& other);
    AggregateIndex& operator=(const AggregateIndex& other);
    // Structure indexes; length -1 measures the name.
    explicit AggregateIndex(const String& name);
    AggregateIndex(const char* name, int length);
    // An array index; a negative value addresses element 0.
    explicit AggregateIndex(int index);

    int index() const { return index_; }
    const String& name() const { return name_; }
    bool IsArray() const { return index_ != -1; }

    // The order of other against this index: 0 equal, +1 when other sorts
    // after this index, -1 when before. Integers compare by value; names by
    // memcmpi over the shorter length, a prefix sorting before its extensions.
    int Compare(const AggregateIndex& other) const;

    // The text of the index: the member name, or the decimal text of an
    // array position (made at the first need and kept).
    operator String&();

    // ":name" for a member, "[n]" for a position. Made once and kept, even
    // when the element later moves.
    const String& serialized();

    // Moves an array index to a new position and forgets its decimal text.
    void Move(int index);

  private:
    String name_;
    int index_ = -1;
    String serialized_;
};
