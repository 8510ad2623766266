#pragma once

#include <memory>
#include <vector>

#include "runtime/DatabaseView.h"

class XBaseEOFVariable;
class XBaseIndex;
class XBaseTable;
class XBaseVariable;

// The cursor of an xBase database: it moves over the table in the order of
// the primary index (the first of the database's indexes) or in record
// order, obeys the filter, keeps every open index in step with added and
// changed records, and holds the field variables of the current record
// with "totrec", "recno", "deleted" and "eof".
class XBaseDatabaseView : public DatabaseView {
  public:
    using Indexes = std::vector<std::unique_ptr<XBaseIndex>>;

    // A view of table named name, positioned on record 1 if there is one;
    // indexes are the database's, read at every move.
    XBaseDatabaseView(OxinApplication* application, OxinVM* vm, Database* database,
                      const String& name, XBaseTable* table, Indexes* indexes);

    int Close() override;
    int Skip_NoFilter(int count) override;
    int Skip_Filter(int count) override;
    int Go_NoFilter(long position) override;
    int Go_Filter(long position) override;
    int Find_NoFilter(const StringTuple& key, int whole) override;
    int Find_Filter(const StringTuple& key, int whole) override;
    int Add() override;
    int Delete() override;
    int UnDelete() override;
    int Update() override;
    int Filter(OxinVM* vm, const StringTuple& expression) override;
    int RevealStructure_Table(const StringTuple& path) override;
    int RevealStructure_Aggregate(Variable** variable) override;
    // Sets the filter and moves to the top of what it lets through.
    void SetFilter(OxinVM* vm, Segment* segment) override;
    void SetDirty(int flag) override;
    void SetTable(XBaseTable* table) { table_ = table; }
    // Puts the new primary index's cursor on the current record.
    int SetPrimaryIndex(XBaseIndex* index);
    // Opens the table and its indexes anew, after a pack by another process
    // has replaced their files.
    int Reopen();

    // Builds the field variables anew on table's fields, standing on the
    // first record; date fields get date variables here (unlike at
    // construction), which validate what they are given. 0 when the table
    // has records but the first cannot be read.
    int SetupCurrentRecord(XBaseTable& table);
    // Writes every changed variable into its field.
    void Commit();
    // Makes the variables read the record's original texts, and back.
    void SetOriginal();
    void SwapOriginal();

    int eof() const;

  private:
    int Build(XBaseTable& table, bool date_variables);
    template <class Operation>
    void ForEachVariable(Operation operation);
    XBaseIndex* primary() const;
    void SetEOF(int value);
    // The record after (forward) or before the current one in the view's
    // order, 0 at an end; bounded: without an index, beyond the count is 0.
    int Step(bool forward, bool bounded, unsigned int* record);
    int Move(unsigned int record);
    // Looks key up in the primary index, which must exist.
    int Search(const String& key, int whole, unsigned int* record, int* found);
    // The filter's truth on the current record.
    int Evaluate(int* truth);
    int Fail(const String& text);
    // Places the primary index's cursor on the current record.
    int SeekCurrent(XBaseIndex* index);

    XBaseTable* table_;
    Indexes* indexes_;
    XBaseEOFVariable* eof_ = nullptr;  // in the hash, which holds its count
};
