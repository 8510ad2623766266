#pragma once

#include "variables/ImmutableVariable.h"

class OxinApplication;

// A member of oxin_config such as commerce_lookup: a structure whose member
// of a name is 1 when a library of that name and kind (an
// OxinApplication::LibraryKind) is registered, else 0. A member is made at
// its first look and kept.
class ConfigurationLibraryLookupVariable : public ImmutableVariable {
  public:
    ConfigurationLibraryLookupVariable(OxinApplication* application, const char* name, int kind);
    Variable* Clone(OxinApplication* application) override;
    Variable* Element(const AggregateIndex& index, int create) override;

  private:
    OxinApplication* application_;
    int kind_;
};
