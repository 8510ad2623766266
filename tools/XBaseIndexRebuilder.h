#pragma once

#include <string>
#include <vector>

class QTXIndexFile;
class XBaseTable;

// Rebuilds an index file in place from its table: the repair for an index
// that a writer left out of step with the table when it died between the
// two. The index keeps its key expression, flags and page geometry; only
// key expressions of field names joined by "." can be rebuilt without the
// script engine, and others are refused before anything changes.
//
// The table is locked as a whole for the run (XBaseTable::LockTable), so no
// record changes under it. A writer that was between its table change and
// its index change when the run began still makes its index change after
// it, so the repair is meant for a table whose writers have stopped.
class XBaseIndexRebuilder {
  public:
    XBaseIndexRebuilder(QTXIndexFile* index, XBaseTable* table) : index_(index), table_(table) {}

    // True when the index holds every record's key. On false, error() says
    // why, and whether the index was left as it was or is half rebuilt.
    bool Rebuild();
    const std::string& error() const { return error_; }
    // The entries the rebuilt index holds.
    int entries() const { return static_cast<int>(keys_.size()); }

  private:
    bool CollectKeys();
    bool InsertKeys();
    bool Fail(const std::string& text);

    QTXIndexFile* index_;
    XBaseTable* table_;
    std::string error_;
    std::vector<std::string> keys_;  // the key of record i + 1
};
