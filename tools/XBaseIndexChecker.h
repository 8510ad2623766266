#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/XBaseKeyExpression.h"

class QTXIndexFile;
class XBaseField;
class XBaseTable;

// Checks an index file against its table without changing either: every
// page well formed and reached once, keys in order, leaves at one depth,
// every record of the table in the index exactly once and nothing else, and
// each entry's key equal to the key of its record when the key expression
// is one the checker can build (field names joined by "."). The records are
// those the table's file holds, even when its header counts more. Without a
// table only the tree itself is checked. Problems are collected as lines of
// text.
class XBaseIndexChecker {
  public:
    XBaseIndexChecker(QTXIndexFile* index, XBaseTable* table) : index_(index), table_(table) {}

    // True when nothing is wrong.
    bool Check();
    const std::vector<std::string>& problems() const { return problems_; }
    // What was checked: entries, pages, depth, and whether keys were compared.
    const std::string& summary() const { return summary_; }

  private:
    std::string KeyOf(int record);
    void Walk(unsigned int pagenum, int depth);
    void CheckEntry(const unsigned char* key, unsigned int record, unsigned int pagenum);
    void CheckRecords();
    void CheckCursor();
    void Problem(const std::string& text);

    QTXIndexFile* index_;
    XBaseTable* table_;
    std::vector<std::string> problems_;
    std::string summary_;
    XBaseKeyExpression expression_;
    bool comparekeys_ = false;
    int numrecords_ = 0;  // the records the table holds
    std::set<unsigned int> visited_;
    std::map<unsigned int, int> records_;
    std::string previous_;
    bool haveprevious_ = false;
    int leafdepth_ = -1;
    int deepest_ = 0;
    long entries_ = 0;
};
