#include "statements/LocalizedCopies.h"

#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedLanguages.h"

LocalizedCopies::LocalizedCopies(OxinApplication* application, Dictionary* dictionary,
                                 LocalizedLanguages* languages, LocalizedDictionary* pieces) {
    if (languages)
        languages_ = std::make_unique<LocalizedLanguages>(*languages, application, dictionary);
    if (pieces) pieces_ = std::make_unique<LocalizedDictionary>(*pieces);
}

LocalizedCopies::~LocalizedCopies() = default;

void LocalizedCopies::Register() {
    ClonedLocalization::Register([](OxinApplication* application, Dictionary* dictionary,
                                    LocalizedLanguages* languages,
                                    LocalizedDictionary* pieces)
                                     -> std::unique_ptr<ClonedLocalization> {
        return std::make_unique<LocalizedCopies>(application, dictionary, languages, pieces);
    });
}
