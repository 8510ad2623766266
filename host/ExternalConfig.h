#pragma once

#include <string>
#include <vector>

#include "application/Config.h"
#include "base/StringClass.h"
#include "variables/VariableList.h"

class CommerceLibraryManager;
class ExternalCallManager;
class ExternalDatabaseLibraryManager;
class ExternalLibrary;
class File;
class OxinApplication;
class SystemLibraryManager;
class VariableHash;
struct OxConfigLibrary;

// The configuration as a shared library gives it: the library is asked for
// each value that nobody set, and what it answers is kept; what it declines
// takes the built-in default. The library may also set values, register
// libraries, pre-set variables and change the default error settings.
class ExternalConfig : public Config {
  public:
    // A library registered by the configuration.
    struct Registration {
        enum Kind { Builtin, Commerce, Database, System };
        Kind kind;
        std::string name;  // empty for built-in function libraries
        std::string path;
    };

    // None of the managers or hashes is owned; any manager may be null.
    ExternalConfig(OxinApplication* application, ExternalCallManager* functions,
                   CommerceLibraryManager* commerce, ExternalDatabaseLibraryManager* databases,
                   SystemLibraryManager* systems, VariableHash* system, VariableHash* global);
    // Lets the library clean up first.
    ~ExternalConfig() override;

    // Loads the library at path and runs its init; false with the reason in
    // error().
    bool Load(const char* path, int flags, char** argv, int argc);
    // Lets the library load settings of the script at path; false with the
    // reason in error() (no text when there is no library).
    bool LoadScriptConfig(const char* path, File* file);
    // The library's answer for id, else the built-in default, else null.
    ConfigValue* default_value(int id) override;

    int Register_Library_Commerce(const char* name, const char* path);
    int Register_Library_Database(const char* name, const char* path);
    int Register_Library_System(const char* name, const char* path);
    int Register_Library_Builtin(const char* path);
    // Variables to be made when the request's variables are built.
    int SetVariable_System(const char* name, int name_length, const char* value, int value_length);
    int SetVariable_Global(const char* name, int name_length, const char* value, int value_length);
    // Puts the pending variables into the system hash, then the globals.
    void AddVariables();
    // Sets the default flags of a tag for machines made from now on; an
    // unknown tag is ignored.
    void Set_DefaultErrorSetting(const char* tag, int tag_length, int flags);

    const std::vector<Registration>& registrations() const { return registrations_; }
    ExternalCallManager* functions() const { return functions_; }
    CommerceLibraryManager* commerce() const { return commerce_; }
    ExternalDatabaseLibraryManager* databases() const { return databases_; }
    SystemLibraryManager* systems() const { return systems_; }
    const String& error() const { return error_; }
    // Keeps text unless it is null.
    void Error(const char* text);

  private:
    int Register(Registration::Kind kind, const char* name, const char* path);
    bool LibraryError(const char* fallback);

    OxinApplication* application_;
    void* data_ = nullptr;
    const OxConfigLibrary* table_ = nullptr;
    ExternalLibrary* library_ = nullptr;
    String error_;
    ExternalCallManager* functions_;
    CommerceLibraryManager* commerce_;
    ExternalDatabaseLibraryManager* databases_;
    SystemLibraryManager* systems_;
    VariableHash* system_;
    VariableHash* global_;
    VariableList pending_system_;
    VariableList pending_global_;
    std::vector<Registration> registrations_;
};
