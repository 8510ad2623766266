#pragma once

#include <cassert>
#include <memory>
#include <vector>

#include "base/StringClass.h"

class CommerceLibraryManager;
class Dictionary;
class ExternalCallManager;
class ExternalDatabaseLibraryManager;
class File;
class FunctionManager;
class LocalizedDictionary;
class LocalizedLanguages;
class OxinApplication;
class OxinVM;
class ReferenceVariableHash;
class Segment;
class SegmentManager;
class TaggedFile;
class VariableHash;

// An expression compiled once into a file's stores, by its text.
struct DoExpression {
    String expression;
    Segment* segment;
};

// Another compiled file reached by OxDO, loaded once per request: its own
// stores and machine, whose system and global variables are the caller's
// (reached by name through reference hashes), and the expressions compiled
// for it.
//
// The context owns its stores and its machine. The cache of the top machine
// owns the context; the count of the context is no ownership, only the
// number of its runs in progress, which the cache's eviction must pass by.
class DoContext {
  public:
    // Counts a run of the context for as long as it lives.
    class InUse {
      public:
        explicit InUse(DoContext* context) : context_(context) { context_->IncRefCount(); }
        ~InUse() { context_->DecRefCount(); }
        InUse(const InUse&) = delete;
        InUse& operator=(const InUse&) = delete;

      private:
        DoContext* context_;
    };

    // system and global are the caller's hashes, used only while opening;
    // parent is the top machine of the request, which outlives the context.
    DoContext(VariableHash* system, VariableHash* global, OxinApplication* application,
              OxinVM* parent, ExternalCallManager* externals, CommerceLibraryManager* commerce,
              ExternalDatabaseLibraryManager* databases);
    DoContext(const DoContext&) = delete;
    DoContext& operator=(const DoContext&) = delete;
    virtual ~DoContext();

    // Loads the compiled file at path from file;
    // false with the reason in Error() (empty for a damaged later section).
    bool Open(const String& path, std::unique_ptr<File> file);

    // The compiled expression of text, or null.
    Segment* Find_Expression(const char* text, int length) const;
    void Add_Expression(const char* text, int length, Segment* segment);

    const String& filepath() const { return filepath_; }
    const String& Error() const { return error_; }
    OxinVM* VM() const { return vm_.get(); }
    int RefCount() const { return reference_count_; }
    void IncRefCount() { reference_count_++; }
    void DecRefCount() {
        assert(reference_count_ > 0);
        reference_count_--;
    }

  private:
    std::unique_ptr<TaggedFile> file_;
    String filepath_;
    String error_;
    std::unique_ptr<Dictionary> dictionary_;
    std::unique_ptr<SegmentManager> segments_;
    std::unique_ptr<FunctionManager> functions_;
    std::unique_ptr<ReferenceVariableHash> globals_;
    std::unique_ptr<ReferenceVariableHash> systems_;
    std::unique_ptr<OxinVM> vm_;
    OxinVM* parent_;
    VariableHash* caller_system_;
    VariableHash* caller_global_;
    OxinApplication* application_;
    ExternalCallManager* externals_;
    CommerceLibraryManager* commerce_;
    ExternalDatabaseLibraryManager* databases_;
    std::unique_ptr<LocalizedLanguages> languages_;
    std::unique_ptr<LocalizedDictionary> pieces_;
    std::vector<DoExpression> expressions_;
    int reference_count_ = 0;
};
