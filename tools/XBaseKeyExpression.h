#pragma once

#include <string>
#include <vector>

class XBaseField;
class XBaseTable;

// An index key expression of the one form the tools build keys for without
// the script engine: field names joined by "." (concatenation), blanks
// around a name ignored, names compared without case.
class XBaseKeyExpression {
  public:
    // Binds expression to the table's fields; false when a part names no
    // field of the table.
    bool Parse(const char* expression, XBaseTable* table);
    // The key of the table's current record, cut to keysize - 1 bytes as
    // the index stores it.
    std::string Key(int keysize) const;

  private:
    std::vector<XBaseField*> fields_;  // in key order
};
