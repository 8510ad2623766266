#pragma once

#include <memory>

class ClonedLocalization;
class Dictionary;
class ExternalCallManager;
class FunctionManager;
class LocalizedDictionary;
class LocalizedLanguages;
class OxinApplication;
class OxinVM;
class SegmentManager;
class VariableHash;

// Deep copies of the stores of a machine, for a clone that runs an
// asynchronous task and shares nothing with its origin: the dictionary,
// the segments, the functions, the libraries (registered again), the
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
    VariableHash* system() const { return system_.get(); }
    VariableHash* global() const { return global_.get(); }
    LocalizedLanguages* languages() const;
    LocalizedDictionary* pieces() const;

  private:
    std::unique_ptr<Dictionary> dictionary_;
    std::unique_ptr<SegmentManager> segments_;
    std::unique_ptr<FunctionManager> functions_;
    std::unique_ptr<ExternalCallManager> externals_;
    std::unique_ptr<VariableHash> system_;
    std::unique_ptr<VariableHash> global_;
    std::unique_ptr<ClonedLocalization> localization_;
};
