#pragma once

#include <memory>

class ClonedLocalization;
class CommerceLibraryManager;
class Dictionary;
class ExternalCallManager;
class FunctionManager;
class LocalizedDictionary;
class LocalizedLanguages;
class OxinApplication;
class OxinVM;
class SegmentManager;
class SystemLibraryManager;
class VariableHash;

// Deep copies of the stores of a machine, for a clone that runs an
// asynchronous task and shares nothing with its origin: the dictionary,
// the segments, the functions, the function, commerce and system
// libraries (registered again, to load anew at first use), the
// system and global variables (cloned) and the localized tables. The clone
// owns them through this object.
class ClonedStores {
  public:
    ClonedStores(OxinApplication* application, OxinVM& source);
    ClonedStores(const ClonedStores&) = delete;
    ClonedStores& operator=(const ClonedStores&) = delete;
    // In the reverse of the order of making: the dictionary goes last.
    ~ClonedStores();

    Dictionary* dictionary() const { return dictionary_.get(); }
    SegmentManager* segments() const { return segments_.get(); }
    FunctionManager* functions() const { return functions_.get(); }
    ExternalCallManager* externalfunctions() const { return externals_.get(); }
    CommerceLibraryManager* commerce() const { return commerce_.get(); }
    SystemLibraryManager* systemlibraries() const { return systemlibraries_.get(); }
    VariableHash* system() const { return system_.get(); }
    VariableHash* global() const { return global_.get(); }
    LocalizedLanguages* languages() const;
    LocalizedDictionary* pieces() const;

  private:
    std::unique_ptr<Dictionary> dictionary_;
    std::unique_ptr<SegmentManager> segments_;
    std::unique_ptr<FunctionManager> functions_;
    std::unique_ptr<ExternalCallManager> externals_;
    std::unique_ptr<CommerceLibraryManager> commerce_;
    std::unique_ptr<SystemLibraryManager> systemlibraries_;
    std::unique_ptr<VariableHash> system_;
    std::unique_ptr<VariableHash> global_;
    std::unique_ptr<ClonedLocalization> localization_;
};
