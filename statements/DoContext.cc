#include "statements/DoContext.h"

#include <cstring>

#include "application/OxinApplication.h"
#include "files/Dictionary.h"
#include "files/File.h"
#include "files/TaggedFile.h"
#include "runtime/FunctionManager.h"
#include "runtime/OxinVM.h"
#include "runtime/SegmentManager.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedLanguages.h"
#include "variables/ReferenceVariableHash.h"

DoContext::DoContext(VariableHash* system, VariableHash* global, OxinApplication* application,
                     OxinVM* parent, ExternalCallManager* externals,
                     CommerceLibraryManager* commerce, ExternalDatabaseLibraryManager* databases)
    : parent_(parent),
      caller_system_(system),
      caller_global_(global),
      application_(application),
      externals_(externals),
      commerce_(commerce),
      databases_(databases) {}

// The stores go before the machine that ran on them, as they always have;
// the machine's end touches none of them.
DoContext::~DoContext() {
    segments_.reset();
    functions_.reset();
    globals_.reset();
    systems_.reset();
    vm_.reset();
    dictionary_.reset();
    languages_.reset();
    pieces_.reset();
    file_.reset();
}

bool DoContext::Open(const String& path, std::unique_ptr<File> file) {
    filepath_ = path;
    if (!file_) file_ = std::make_unique<TaggedFile>(application_->filemanager());
    if (!file_->Open(path.c_str(), std::move(file))) {
        error_ = String("Unable to open '");
        error_.cat(path.c_str(), path.length());
        error_.cat("': ");
        error_.cat(file_->error().c_str(), file_->error().length());
        return false;
    }
    dictionary_ = std::make_unique<Dictionary>();
    bool ok = dictionary_->Read(file_.get());
    Dictionary* dictionary = dictionary_.get();
    segments_ = std::make_unique<SegmentManager>();
    functions_ = std::make_unique<FunctionManager>(dictionary, 8);
    pieces_ = std::make_unique<LocalizedDictionary>();
    languages_ = std::make_unique<LocalizedLanguages>(application_, dictionary, file_.get(), 12, 8);
    globals_ = std::make_unique<ReferenceVariableHash>(dictionary, caller_global_, 12, 512);
    systems_ = std::make_unique<ReferenceVariableHash>(dictionary, caller_system_, 12, 512);
    if (ok) {
        pieces_->Read(file_.get());
        languages_->Read(file_.get());
        ok = systems_->Read(file_.get(), kSectionSyst) &&
             globals_->Read(file_.get(), kSectionGlbl) && segments_->Read(file_.get()) &&
             functions_->Read(file_.get(), *segments_);
    }
    if (ok) {
        vm_ = std::make_unique<OxinVM>(
            path.c_str(), path.length(), application_, dictionary, systems_.get(), globals_.get(),
            segments_.get(), functions_.get(), externals_, commerce_, databases_, languages_.get(),
            pieces_.get(), nullptr, nullptr, nullptr, parent_);
    }
    file_->Deactivate();
    return ok;
}

Segment* DoContext::Find_Expression(const char* text, int length) const {
    for (const DoExpression& expression : expressions_) {
        if (expression.expression.length() == length &&
            memcmp(expression.expression.c_str(), text, length) == 0)
            return expression.segment;
    }
    return nullptr;
}

void DoContext::Add_Expression(const char* text, int length, Segment* segment) {
    expressions_.push_back({String(text, length), segment});
}
