#pragma once

#include "variables/ImmutableVariable.h"

class OxinApplication;

// A member of oxin_config such as commerce_list: an array of the names of
// the registered libraries of one kind (an OxinApplication::LibraryKind),
// from 1 in the order of registration, read at the first look.
class ConfigurationLibraryListVariable : public ImmutableVariable {
  public:
    ConfigurationLibraryListVariable(OxinApplication* application, const char* name, int kind);
    Variable* Clone(OxinApplication* application) override;
    AggregateElementTree* aggregateelements() override;
    String& value() override;
    Variable* Element(const AggregateIndex& index, int create) override;
    Variable* Element(List<AggregateIndex>* path, int create) override;
    int Max() override;
    int Min() override;
    int Next(int index) override;
    int Previous(int index) override;
    int ElementsUsed() override;

  private:
    void Load();
    OxinApplication* application_;
    int kind_;
    bool loaded_ = false;
};
