#pragma once

#include "extensions/oxin_extension.h"
#include "runtime/DatabaseView.h"

class ExternalDatabase;
class ExternalDatabaseVariable;

// A view of a library's database. The moves and changes go to the
// library's functions; the library adds the fields, and tells the view when
// they must read anew (SetDirty) or hand their assigned values over
// (Commit). The library filters by itself, so the view is never filtered in
// the engine's sense.
class ExternalDatabaseView : public DatabaseView {
  public:
    ExternalDatabaseView(OxinApplication* application, OxinVM* vm, ExternalDatabase* database,
                         const _OX_EL_Database* descriptor, const String& name, void* data);
    // Forgets the fields (the library releases each).
    ~ExternalDatabaseView() override;

    // The library's Close; success when it has none.
    int Close() override;
    int Skip_NoFilter(int count) override;
    int Go_NoFilter(long position) override;
    int Find_NoFilter(const StringTuple& key, int whole) override;
    // The engine's filters don't apply to a library's views: these fail.
    int Skip_Filter(int count) override;
    int Go_Filter(long position) override;
    int Find_Filter(const StringTuple& key, int whole) override;
    int Add() override;
    int Delete() override;
    int UnDelete() override;
    int Update() override;
    // Hands the expression's text to the library.
    int Filter(OxinVM* vm, const StringTuple& expression) override;
    int RevealStructure_Table(const StringTuple& path) override;
    int RevealStructure_Aggregate(Variable** variable) override;
    // Every field forgets what it read and what was assigned to it.
    void SetDirty(int flag) override;
    // Every field hands an assigned value to the library.
    void Commit();

    // A new field of the library's; null when the view has the name.
    ExternalDatabaseVariable* Add_Variable(const char* name, int length, void* data);
    // Forgets every field.
    void Clear();
    void SetData(void* data) { data_ = data; }
    void* data() const { return data_; }
    ExternalDatabase* externaldatabase() const { return external_; }
    OxinVM* program() const { return vm_; }

  private:
    int Result(int succeeded);
    int Unsupported(const char* text);
    template <typename Operation>
    void ForEachVariable(Operation operation);

    ExternalDatabase* external_;
    const _OX_EL_Database* descriptor_;
    void* data_;
};
