#pragma once

#include <memory>

#include "runtime/ClonedLocalization.h"

// The localized languages and pieces of a cloned machine, copied from those
// of its origin and owned here.
class LocalizedCopies : public ClonedLocalization {
  public:
    LocalizedCopies(OxinApplication* application, Dictionary* dictionary,
                    LocalizedLanguages* languages, LocalizedDictionary* pieces);
    ~LocalizedCopies() override;

    // Registers this class as the way clones copy their localized tables.
    static void Register();

    LocalizedLanguages* languages() const override { return languages_.get(); }
    LocalizedDictionary* pieces() const override { return pieces_.get(); }

  private:
    std::unique_ptr<LocalizedLanguages> languages_;
    std::unique_ptr<LocalizedDictionary> pieces_;
};
