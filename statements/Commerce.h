#pragma once

#include <memory>

#include "base/StringClass.h"
#include "runtime/Feature.h"
#include "variables/VariableList.h"

class CommerceLibrary;
class CommerceLibraryManager;
class VariableHash;

// An OxCOMMERCE loop: a payment or shipping method, served by the commerce
// library registered under its name, that runs the script's body once for
// each result it hands back. Deleting it lets the library clean up.
class Commerce : public Feature {
  public:
    // What Next asks of the loop.
    static constexpr int kRunBody = 1;
    static constexpr int kEnd = 2;

    // A loop of vm over the libraries of manager (may be null); the library
    // sees variables as the script's system variables.
    Commerce(OxinApplication* application, OxinVM* vm, CommerceLibraryManager* manager,
             VariableHash* variables, const String& method, const String& action);
    // Runs the library's cleanup when one was found.
    ~Commerce() override;

    // Makes the fields the library sees: references to the script's
    // variables of a comma-separated list of names.
    void Set_Fields(const char* names, int length);
    // Finds and loads the method's library and lets it begin; false with
    // the reason in error().
    bool Start();
    // Asks the library for the next pass: kRunBody, or kEnd (with the
    // library's text in error() when it ended with an error).
    int Next();

  private:
    CommerceLibraryManager* manager_;
    VariableHash* variables_;
    String method_;
    String action_;
    VariableList fields_;
    void* data_ = nullptr;
    int index_ = 0;
    CommerceLibrary* library_ = nullptr;
};
