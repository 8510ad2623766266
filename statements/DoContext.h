#pragma once

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
class DoContext {
  public:
    DoContext(VariableHash* system, VariableHash* global, OxinApplication* application,
              OxinVM* parent, ExternalCallManager* externals, CommerceLibraryManager* commerce,
              ExternalDatabaseLibraryManager* databases);
    DoContext(const DoContext&) = delete;
    DoContext& operator=(const DoContext&) = delete;
    virtual ~DoContext();

    // Loads the compiled file at path from file (owned from here on);
    // false with the reason in Error() (empty for a damaged later section).
    bool Open(const String& path, File* file);

    // The compiled expression of text, or null.
    Segment* Find_Expression(const char* text, int length) const;
    void Add_Expression(const char* text, int length, Segment* segment);

    const String& filepath() const { return filepath_; }
    const String& Error() const { return error_; }
    OxinVM* VM() const { return vm_; }
    int RefCount() const { return reference_count_; }
    void IncRefCount() { reference_count_++; }
    void DecRefCount() { reference_count_--; }

  private:
    TaggedFile* file_ = nullptr;
    String filepath_;
    String error_;
    Dictionary* dictionary_ = nullptr;
    SegmentManager* segments_ = nullptr;
    FunctionManager* functions_ = nullptr;
    ReferenceVariableHash* globals_ = nullptr;
    ReferenceVariableHash* systems_ = nullptr;
    OxinVM* vm_ = nullptr;
    OxinVM* parent_;
    VariableHash* caller_system_;
    VariableHash* caller_global_;
    OxinApplication* application_;
    ExternalCallManager* externals_;
    CommerceLibraryManager* commerce_;
    ExternalDatabaseLibraryManager* databases_;
    LocalizedLanguages* languages_ = nullptr;
    LocalizedDictionary* pieces_ = nullptr;
    std::vector<DoExpression> expressions_;
    int reference_count_ = 0;
};
