#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "extensions/ExternalCallManager.h"
#include "files/Dictionary.h"
#include "files/TaggedFile.h"
#include "runtime/FunctionManager.h"
#include "runtime/OxinVM.h"
#include "runtime/SegmentManager.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedLanguages.h"
#include "tests/support/TestApplication.h"
#include "tools/Assembler.h"
#include "variables/VariableHash.h"

// A script assembled from a listing, written to a temporary compiled file,
// loaded in the order of a request and run on a machine of its own. The
// application's output and error messages are kept in memory.
class ScriptRun {
  public:
    // Assembles and loads listing; error() says why when it cannot.
    // With a directory, the file is written there under name, and the
    // machine knows it by that name (as a path of the script class).
    explicit ScriptRun(const std::string& listing, StandaloneApplication* application,
                       ExternalCallManager* externals = nullptr, const std::string& directory = "",
                       const std::string& name = "")
        : system_(&dictionary_, 8, 8),
          global_(&dictionary_, 8, 8),
          functions_(&dictionary_),
          languages_(application, &dictionary_),
          file_(application->filemanager()) {
        if (directory.empty()) {
            char pattern[] = "/tmp/oxin-script-XXXXXX";
            int fd = mkstemp(pattern);
            close(fd);
            path_ = pattern;
            name_ = path_;
        } else {
            path_ = directory + "/" + name;
            name_ = name;
        }
        Assembler assembler;
        if (!assembler.Assemble(listing.data(), listing.size()) ||
            !assembler.Write(application->filemanager(), path_.c_str())) {
            error_ = "assembly: " + assembler.error();
            return;
        }
        if (!file_.Open(path_.c_str(), 1) || !dictionary_.Read(&file_) ||
            !system_.Read(&file_, kSectionSyst) || !global_.Read(&file_, kSectionGlbl) ||
            !languages_.Read(&file_) || !pieces_.Read(&file_) || !segments_.Read(&file_) ||
            !functions_.Read(&file_, segments_)) {
            error_ = "load failed";
            return;
        }
        vm_ = new OxinVM(name_.c_str(), static_cast<int>(name_.size()), application, &dictionary_,
                         &system_, &global_, &segments_, &functions_, externals,
                         application->commercemanager(), nullptr, &languages_, &pieces_, nullptr,
                         nullptr, nullptr, nullptr);
    }
    ~ScriptRun() {
        delete vm_;
        unlink(path_.c_str());
    }
    ScriptRun(const ScriptRun&) = delete;
    ScriptRun& operator=(const ScriptRun&) = delete;

    // Go's result, or -1 when the script did not load.
    int Go() { return vm_ ? vm_->Go() : -1; }

    OxinVM* vm() { return vm_; }
    VariableHash& globals() { return global_; }
    VariableHash& system() { return system_; }
    // The name that messages give: the path, or the name in its directory.
    const std::string& path() const { return name_; }
    const std::string& error() const { return error_; }

  private:
    Dictionary dictionary_;
    VariableHash system_;
    VariableHash global_;
    FunctionManager functions_;
    LocalizedLanguages languages_;
    LocalizedDictionary pieces_;
    SegmentManager segments_;
    TaggedFile file_;
    OxinVM* vm_ = nullptr;
    std::string path_;
    std::string name_;
    std::string error_;
};
