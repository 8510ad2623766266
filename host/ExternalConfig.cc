#include "host/ExternalConfig.h"

#include "application/OxinApplication.h"
#include "extensions/CommerceLibraryManager.h"
#include "extensions/ExternalCallManager.h"
#include "extensions/ExternalDatabaseLibraryManager.h"
#include "extensions/ExternalLibrary.h"
#include "extensions/ExternalLibraryManager.h"
#include "extensions/SystemLibraryManager.h"
#include "extensions/oxin_extension.h"
#include "runtime/TagLookup.h"
#include "variables/ImmutableVariable.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"

ExternalConfig::ExternalConfig(OxinApplication* application, ExternalCallManager* functions,
                               CommerceLibraryManager* commerce,
                               ExternalDatabaseLibraryManager* databases,
                               SystemLibraryManager* systems, VariableHash* system,
                               VariableHash* global)
    : application_(application),
      functions_(functions),
      commerce_(commerce),
      databases_(databases),
      systems_(systems),
      system_(system),
      global_(global) {}

ExternalConfig::~ExternalConfig() {
    if (table_ && table_->cleanup) table_->cleanup(this, &data_);
}

void ExternalConfig::Error(const char* text) {
    if (text) error_ = String(text);
}

bool ExternalConfig::LibraryError(const char* fallback) {
    const char* text = table_->error ? table_->error(this, &data_) : nullptr;
    Error(text ? text : fallback);
    return false;
}

bool ExternalConfig::Load(const char* path, int flags, char** argv, int argc) {
    ExternalLibraryManager* manager = application_->librarymanager();
    library_ = manager ? manager->Lookup(path) : nullptr;
    if (!library_) {
        error_ = manager ? manager->error() : String("No library manager");
        return false;
    }
    using TableFunction = const OxConfigLibrary* (*)();
    auto entry = reinterpret_cast<TableFunction>(library_->Get_Function("oxin_config_library"));
    if (!entry) {
        error_ = library_->error();
        return false;
    }
    table_ = entry();
    if (!table_) {
        Error("Unable to retrieve configuration descriptor table");
        return false;
    }
    if (!table_->init || table_->init(this, &data_, flags, argv, argc) == 0) return true;
    return LibraryError("Error initializing configuration library");
}

bool ExternalConfig::LoadScriptConfig(const char* path, File* file) {
    if (!table_) return false;
    if (table_->version == 1 && table_->load_v1) {
        Error(
            "Configuration library uses no longer supported v1 API script-specific "
            "configuration load method");
        return false;
    }
    if (!table_->load || table_->load(this, &data_, path, file) == 0) return true;
    return LibraryError("Error loading script-specific configuration");
}

ConfigValue* ExternalConfig::default_value(int id) {
    if (table_ && config_id_is_integer(id) && table_->get_integer) {
        int value = 0;
        if (table_->get_integer(this, &data_, id, &value) == 0) return new ConfigValue(id, value);
    } else if (table_ && config_id_is_string(id) && table_->get_string) {
        const char* value = nullptr;
        int length = 0, owned = 0;
        if (table_->get_string(this, &data_, id, &value, &length, &owned) == 0 && value)
            return new ConfigValue(id, value, length, owned);
    }
    return Config::default_value(id);
}

int ExternalConfig::Register(Registration::Kind kind, const char* name, const char* path) {
    registrations_.push_back({kind, name ? name : "", path ? path : ""});
    return 0;
}

int ExternalConfig::Register_Library_Commerce(const char* name, const char* path) {
    if (commerce_ && name && path) commerce_->RegisterDSO(name, path);
    return Register(Registration::Commerce, name, path);
}

int ExternalConfig::Register_Library_Database(const char* name, const char* path) {
    if (databases_ && name && path) databases_->RegisterDSO(name, path);
    return Register(Registration::Database, name, path);
}

int ExternalConfig::Register_Library_System(const char* name, const char* path) {
    if (systems_ && name && path) systems_->RegisterDSO(name, path);
    return Register(Registration::System, name, path);
}

int ExternalConfig::Register_Library_Builtin(const char* path) {
    if (functions_ && path) functions_->RegisterDSO(path);
    return Register(Registration::Builtin, nullptr, path);
}

int ExternalConfig::SetVariable_System(const char* name, int name_length, const char* value,
                                       int value_length) {
    pending_system_.Insert(new ImmutableVariable(name, name_length, value, value_length), ListTail,
                           0);
    return 0;
}

int ExternalConfig::SetVariable_Global(const char* name, int name_length, const char* value,
                                       int value_length) {
    pending_global_.Insert(new Variable(name, name_length, value, value_length), ListTail, 0);
    return 0;
}

void ExternalConfig::AddVariables() {
    // The hashes take counts of their own; the lists keep theirs.
    for (Variable* variable = pending_system_.First(); variable;
         variable = pending_system_.Next()) {
        variable->IncRefCount();
        system_->SetVariable(variable);
    }
    for (Variable* variable = pending_global_.First(); variable;
         variable = pending_global_.Next()) {
        variable->IncRefCount();
        global_->SetVariable(variable);
    }
}

void ExternalConfig::Set_DefaultErrorSetting(const char* tag, int tag_length, int flags) {
    int row = TagLookup::Lookup(tag, tag_length);
    if (row >= 0) tag_default_errorsettings[row].flags = static_cast<unsigned>(flags);
}
