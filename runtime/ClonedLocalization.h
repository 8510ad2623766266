#pragma once

#include <memory>

class Dictionary;
class LocalizedDictionary;
class LocalizedLanguages;
class OxinApplication;

// The localized tables of a cloned machine. They live above the runtime, so
// the layer that has them registers how they are copied; the clone owns
// the copies through this object.
class ClonedLocalization {
  public:
    using Maker = std::unique_ptr<ClonedLocalization> (*)(OxinApplication* application,
                                                          Dictionary* dictionary,
                                                          LocalizedLanguages* languages,
                                                          LocalizedDictionary* pieces);

    ClonedLocalization() = default;
    ClonedLocalization(const ClonedLocalization&) = delete;
    ClonedLocalization& operator=(const ClonedLocalization&) = delete;
    virtual ~ClonedLocalization() = default;

    // Makes maker the way copies are made; once at start.
    static void Register(Maker maker);
    // Copies of languages and pieces (either may be null) over dictionary,
    // which gives the same ids the same texts; null when no maker is
    // registered.
    static std::unique_ptr<ClonedLocalization> Make(OxinApplication* application,
                                                    Dictionary* dictionary,
                                                    LocalizedLanguages* languages,
                                                    LocalizedDictionary* pieces);

    // The copies, or null for a table that had none.
    virtual LocalizedLanguages* languages() const = 0;
    virtual LocalizedDictionary* pieces() const = 0;
};
