#include "statements/DoContext.h"

#include <cstring>

#include "files/File.h"
#include "host/OxinApplication.h"
#include "runtime/Dictionary.h"
#include "runtime/FunctionManager.h"
#include "runtime/OxinVM.h"
#include "runtime/SegmentManager.h"
#include "runtime/TaggedFile.h"
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

DoContext::~DoContext() {
    delete segments_;
    delete functions_;
    delete globals_;
    delete systems_;
    delete vm_;
    delete dictionary_;
    delete languages_;
    delete pieces_;
    delete file_;
}

bool DoContext::Open(const String& path, File* file) {
    filepath_ = path;
    if (!file_) file_ = new TaggedFile(application_->filemanager());
    if (!file_->Open(path.c_str(), file)) {
        error_ = String("Unable to open '");
        error_.cat(path.c_str(), path.length());
        error_.cat("': ");
        error_.cat(file_->error().c_str(), file_->error().length());
        delete file;
        return false;
    }
    dictionary_ = new Dictionary;
    bool ok = dictionary_->Read(file_);
    segments_ = new SegmentManager;
    functions_ = new FunctionManager(dictionary_, 8);
    pieces_ = new LocalizedDictionary;
    languages_ = new LocalizedLanguages(application_, dictionary_, file_, 12, 8);
    globals_ = new ReferenceVariableHash(dictionary_, caller_global_, 12, 512);
    systems_ = new ReferenceVariableHash(dictionary_, caller_system_, 12, 512);
    if (ok) {
        pieces_->Read(file_);
        languages_->Read(file_);
        ok = systems_->Read(file_, kSectionSyst) && globals_->Read(file_, kSectionGlbl) &&
             segments_->Read(file_) && functions_->Read(file_, *segments_);
    }
    if (ok) {
        vm_ = new OxinVM(path.c_str(), path.length(), application_, dictionary_, systems_, globals_,
                         segments_, functions_, externals_, commerce_, databases_, languages_,
                         pieces_, nullptr, nullptr, nullptr, parent_);
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
