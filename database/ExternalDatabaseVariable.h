#pragma once

#include "extensions/oxin_extension.h"
#include "variables/Variable.h"

class ExternalDatabaseView;

// A field of a library's view as a script variable. Until something is
// assigned to it, it reads its value from the library in the form asked for
// and derives the others; an assigned value (changed) stays pending until
// Commit hands it to the library in the field's preferred form.
class ExternalDatabaseVariable : public Variable {
  public:
    ExternalDatabaseVariable(ExternalDatabaseView* view, const _OX_EL_Database* descriptor,
                             const char* name, int length, void* data);

    int type() override { return 5; }
    // The library's preferred form (version 4 and above), else text.
    int preferred_type() override;
    bool IsNULL() override;
    double value_compare(int* error) override;
    int SetValue(const char* text, int length) override;
    int SetValue(Variable& source) override;
    int SetValue_Nocopy(char* buffer, int length, int size) override;
    int SetValue_Integer(int value) override;
    int SetValue_Double(double value) override;
    void Convert_String() override;
    void Convert_Integer() override;
    void Convert_Double() override;
    // A field never becomes a reference.
    void Make_Reference(Variable*) override {}

    // Forgets the read forms and any pending value.
    virtual void SetDirty();
    // Hands a pending value, in the form that the library prefers, or an
    // aggregate's serialization, to the library.
    virtual void Commit();
    // Reads the form from the library; false when it gives none.
    virtual bool Get_Integer();
    virtual bool Get_Double();
    virtual bool Get_String();

    ExternalDatabaseView* view() const { return view_; }
    void SetData(void* data) { data_ = data; }
    void* data() const { return data_; }

  protected:
    // Lets the library release its data.
    ~ExternalDatabaseVariable() override;

  private:
    // Whether the read forms are the library's (nothing pending).
    bool reads_library() const { return !changed_ && !elements_; }

    ExternalDatabaseView* view_;
    const _OX_EL_Database* descriptor_;
    void* data_;
    bool changed_ = false;
    int preferred_ = PrimaryNone;  // the library's preferred form, once asked
};
