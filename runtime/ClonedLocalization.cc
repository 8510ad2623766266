#include "runtime/ClonedLocalization.h"

namespace {

ClonedLocalization::Maker registered_maker = nullptr;

}  // namespace

void ClonedLocalization::Register(Maker maker) {
    registered_maker = maker;
}

std::unique_ptr<ClonedLocalization> ClonedLocalization::Make(OxinApplication* application,
                                                             Dictionary* dictionary,
                                                             LocalizedLanguages* languages,
                                                             LocalizedDictionary* pieces) {
    if (!registered_maker) return nullptr;
    return registered_maker(application, dictionary, languages, pieces);
}
