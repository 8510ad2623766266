#include "runtime/ClonedStores.h"

#include "application/OxinApplication.h"
#include "extensions/CommerceLibraryManager.h"
#include "extensions/ExternalCallManager.h"
#include "extensions/SystemLibraryManager.h"
#include "files/Dictionary.h"
#include "runtime/ClonedLocalization.h"
#include "runtime/FunctionManager.h"
#include "runtime/OxinVM.h"
#include "runtime/SegmentManager.h"
#include "variables/ClonedVariableHash.h"

ClonedStores::ClonedStores(OxinApplication* application, OxinVM& source)
    : dictionary_(std::make_unique<Dictionary>(*source.dictionary())),
      segments_(std::make_unique<SegmentManager>(*source.segments())),
      functions_(std::make_unique<FunctionManager>(*source.functions(), dictionary_.get())),
      system_(std::make_unique<ClonedVariableHash>(application, dictionary_.get(),
                                                   *source.systemvar_hash())),
      global_(std::make_unique<ClonedVariableHash>(application, dictionary_.get(),
                                                   *source.globalvar_hash())),
      localization_(
          ClonedLocalization::Make(application, dictionary_.get(), source.LF(), source.pieces())) {
    if (source.externalfunctions())
        externals_ =
            std::make_unique<ExternalCallManager>(application, *source.externalfunctions());
    if (source.commerce())
        commerce_ = std::make_unique<CommerceLibraryManager>(application, *source.commerce());
    if (SystemLibraryManager* systems = source.systemlibraries())
        systemlibraries_ = std::make_unique<SystemLibraryManager>(application, *systems);
}

ClonedStores::~ClonedStores() = default;

LocalizedLanguages* ClonedStores::languages() const {
    return localization_ ? localization_->languages() : nullptr;
}

LocalizedDictionary* ClonedStores::pieces() const {
    return localization_ ? localization_->pieces() : nullptr;
}
