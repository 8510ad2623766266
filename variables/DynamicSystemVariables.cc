#include "variables/DynamicSystemVariables.h"

#include <cstdio>
#include <cstring>

#include "application/Config.h"
#include "application/OxinApplication.h"
#include "base/OxTime.h"
#include "base/TextConversion.h"
#include "variables/AggregateIndex.h"
#include "variables/ConfigurationLibraryListVariable.h"
#include "variables/ConfigurationLibraryLookupVariable.h"

namespace {

const char* const kTimeNames[DynamicTimeVariable::kKinds] = {
    "dyn_time_t",   "dyn_tm_usec", "dyn_tm_sec",   "dyn_tm_min",  "dyn_tm_hour",
    "dyn_tm_mday",  "dyn_tm_mon",  "dyn_stm_mon",  "dyn_tm_year", "dyn_tm_wday",
    "dyn_stm_wday", "dyn_tm_yday", "dyn_tm_isdst", "dyn_stm_zone"};
const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

// The members of oxin_config, in order.
struct ConfigMember {
    const char* name;
    int id;
};
const ConfigMember kMembers[] = {
    {"dir_oxin", 0x2000001},
    {"dir_commerce", 0x2000002},
    {"dir_temp", 0x2000003},
    {"dir_data", 0x2000004},
    {"dir_user", 0x2000019},
    {"dir_builtin", 0x200001e},
    {"dir_ca", 0x2000016},
    {"file_ca", 0x2000033},
    {"log_level", 0x1000005},
    {"log_file", 0x2000006},
    {"log_filter", 0x2000025},
    {"log_cookie", 0x2000028},
    {"timeout_global", 0x1000007},
    {"timeout_mail", 0x1000008},
    {"timeout_call", 0x1000009},
    {"timeout_file", 0x100000a},
    {"timeout_post", 0x1000026},
    {"timeout_async", 0x1000031},
    {"timeout_async_sleep", 0x1000032},
    {"delay_file", 0x100000b},
    {"cookies", 0x100000c},
    {"bufsz_import", 0x100000d},
    {"bufsz_template", 0x100000e},
    {"bufsz_call", 0x100000f},
    {"bufsz_smtp", 0x1000010},
    {"bufsz_content", 0x1000011},
    {"bufsz_output", 0x1000012},
    {"bufsz_output_flush", 0x100001d},
    {"max_files", 0x1000013},
    {"max_docache", 0x1000021},
    {"max_post_vars", 0x1000027},
    {"max_unknown_content_length", 0x1000028},
    {"max_async_tasks", 0x1000030},
    {"lock_expiration", 0x1000014},
    {"lock_hostname", 0x2000015},
    {"default_file", 0x2000017},
    {"flags_security", 0x1000018},
    {"info_serveradmin", 0x200001a},
    {"ssl_config", 0x200001d},
    {"ssl_openssl", 0x200001b},
    {"ssl_crypto", 0x200001c},
    {"ssl_sni", 0x1000029},
};

// The text form as the only valid one.
String& set_text(String& store, unsigned char& flags, const char* text, int length) {
    store.assign(text, length);
    flags = (flags & ~Variable::kFormFlags) | Variable::kStringValid;
    return store;
}

}  // namespace

DynamicTimeVariable::DynamicTimeVariable(int kind)
    : ImmutableVariable(Name(kind), -1), kind_(kind), type_(IsText() ? 4 : 3) {
    primary_type_ = IsText() ? PrimaryString : PrimaryInteger;
    flags_ = 0;
}

const char* DynamicTimeVariable::Name(int kind) {
    return kind >= 0 && kind < kKinds ? kTimeNames[kind] : "";
}

bool DynamicTimeVariable::IsText() const {
    return kind_ == 7 || kind_ == 10 || kind_ == 13;
}

Variable* DynamicTimeVariable::Clone(OxinApplication*) {
    return new DynamicTimeVariable(kind_);
}

int DynamicTimeVariable::value_integer() {
    OXTIME now;
    ox_gettimevalues(&now);
    long fields[] = {now.seconds, now.microseconds, now.second, now.minute, now.hour,
                     now.day,     now.month,        0,          now.year,   now.weekday,
                     0,           now.yearday,      now.dst,    0};
    integer_value_ = static_cast<int>(fields[kind_]);
    return integer_value_;
}

String& DynamicTimeVariable::value() {
    if (IsText()) {
        OXTIME now;
        ox_gettimevalues(&now);
        const char* text = kind_ == 7    ? kMonths[(now.month + 11) % 12]
                           : kind_ == 10 ? kDays[(now.weekday + 6) % 7]
                                         : now.zone;
        return set_text(string_value_, flags_, text ? text : "", text ? -1 : 0);
    }
    char digits[24];
    int length = snprintf(digits, sizeof digits, kind_ == 0 ? "%lu" : "%ld",
                          static_cast<long>(value_integer()));
    return set_text(string_value_, flags_, digits, length);
}

double DynamicTimeVariable::value_double() {
    double_value_ = value_integer();
    return double_value_;
}

double DynamicTimeVariable::value_compare(int* error) {
    if (IsText()) {
        *error = 1;
        return 0.0;
    }
    *error = 0;
    return value_integer();
}

TimeRemainingVariable::TimeRemainingVariable(OxinApplication* application)
    : ImmutableVariable("dyn_time_remaining", -1), application_(application) {}

Variable* TimeRemainingVariable::Clone(OxinApplication* application) {
    return new TimeRemainingVariable(application);
}

int TimeRemainingVariable::value_integer() {
    return static_cast<int>(application_->TimeRemaining());
}

String& TimeRemainingVariable::value() {
    char digits[24];
    int length = snprintf(digits, sizeof digits, "%d", value_integer());
    return set_text(string_value_, flags_, digits, length);
}

double TimeRemainingVariable::value_compare(int* error) {
    *error = 0;
    return value_integer();
}

ApplicationSettingVariable::ApplicationSettingVariable(const char* name,
                                                       OxinApplication* application, Getter getter,
                                                       Counter counter, Setter setter)
    : ImmutableVariable(name, -1),
      application_(application),
      getter_(getter),
      counter_(counter),
      setter_(setter) {}

int ApplicationSettingVariable::SetValue(const char* text, int length) {
    (application_->*setter_)(text, length);
    return Variable::SetValue(text, length);
}

int ApplicationSettingVariable::SetValue(Variable& source) {
    String& text = source.value();
    return SetValue(text.c_str(), text.length());
}

int ApplicationSettingVariable::SetValue_Nocopy(char* buffer, int length, int size) {
    (application_->*setter_)(buffer, length);
    return Variable::SetValue_Nocopy(buffer, length, size);
}

int ApplicationSettingVariable::SetValue_Integer(int value) {
    int length, size;
    char* text = TextConversion::itos(value, &length, &size);
    return SetValue_Nocopy(text, length, size);
}

int ApplicationSettingVariable::SetValue_Double(double value) {
    int length, size;
    char* text = TextConversion::dtos(value, &length, &size, -1);
    return SetValue_Nocopy(text, length, size);
}

// Copied only when the application changed it since the last read.
String& ApplicationSettingVariable::value() {
    int count = (application_->*counter_)();
    if (count != seen_) {
        const String& text = (application_->*getter_)();
        string_value_.assign(text.c_str(), text.length());
        seen_ = count;
    }
    flags_ = (flags_ & ~kFormFlags) | kStringValid;
    return string_value_;
}

LanguageVariable::LanguageVariable(OxinApplication* application)
    : ApplicationSettingVariable("oxin_language", application, &OxinApplication::language,
                                 &OxinApplication::languagecount, &OxinApplication::SetLanguage) {}

Variable* LanguageVariable::Clone(OxinApplication* application) {
    return new LanguageVariable(application);
}

DefaultLanguageVariable::DefaultLanguageVariable(OxinApplication* application)
    : ApplicationSettingVariable(
          "oxin_defaultlanguage", application, &OxinApplication::defaultlanguage,
          &OxinApplication::defaultlanguagecount, &OxinApplication::SetDefaultLanguage) {}

Variable* DefaultLanguageVariable::Clone(OxinApplication* application) {
    return new DefaultLanguageVariable(application);
}

DefaultDatabaseVariable::DefaultDatabaseVariable(OxinApplication* application)
    : ApplicationSettingVariable(
          "oxin_defaultdatabase", application, &OxinApplication::defaultdatabase,
          &OxinApplication::defaultdatabasecount, &OxinApplication::SetDefaultDatabase) {}

Variable* DefaultDatabaseVariable::Clone(OxinApplication* application) {
    Variable* clone = new DefaultLanguageVariable(application);
    clone->SetName(name());
    return clone;
}

CharacterSetVariable::CharacterSetVariable(OxinApplication* application)
    : ApplicationSettingVariable("oxin_charset", application, &OxinApplication::charset,
                                 &OxinApplication::charsetcount,
                                 &OxinApplication::SetCharacterSet) {}

Variable* CharacterSetVariable::Clone(OxinApplication* application) {
    return new CharacterSetVariable(application);
}

SSLAvailableVariable::SSLAvailableVariable(OxinApplication* application)
    : ImmutableVariable("oxin_sslavailable", -1), application_(application) {}

Variable* SSLAvailableVariable::Clone(OxinApplication* application) {
    return new SSLAvailableVariable(application);
}

int SSLAvailableVariable::value_integer() {
    if (available_ < 0) available_ = application_->SSL_Available(nullptr) ? 1 : 0;
    return available_;
}

String& SSLAvailableVariable::value() {
    return set_text(string_value_, flags_, value_integer() ? "1" : "0", 1);
}

double SSLAvailableVariable::value_compare(int* error) {
    *error = 0;
    return value_integer();
}

ProcessNameVariable::ProcessNameVariable(OxinApplication* application)
    : ImmutableVariable("process_name", -1), application_(application) {}

Variable* ProcessNameVariable::Clone(OxinApplication* application) {
    return new ProcessNameVariable(application);
}

String& ProcessNameVariable::value() {
    const char* name = application_->process_name();
    return set_text(string_value_, flags_, name ? name : "", name ? -1 : 0);
}

ConfigurationVariable::ConfigurationVariable(OxinApplication* application, const char* name, int id)
    : ImmutableVariable(name, -1), application_(application), id_(id) {}

Variable* ConfigurationVariable::Clone(OxinApplication* application) {
    return new ConfigurationVariable(application, name().c_str(), id_);
}

String& ConfigurationVariable::value() {
    Config* config = application_->config();
    if (config_id_is_string(id_)) {
        const char* text = config ? config->value_string(id_, nullptr) : nullptr;
        return set_text(string_value_, flags_, text ? text : "", text ? -1 : 0);
    }
    char digits[24];
    int length = snprintf(digits, sizeof digits, "%d", config ? config->value_integer(id_) : -1);
    return set_text(string_value_, flags_, digits, length);
}

int ConfigurationVariable::value_integer() {
    Config* config = application_->config();
    return config_id_is_integer(id_) && config ? config->value_integer(id_) : 0;
}

double ConfigurationVariable::value_compare(int* error) {
    if (config_id_is_string(id_)) {
        *error = 1;
        return 0.0;
    }
    return value_integer();
}

ConfigurationAggregateVariable::ConfigurationAggregateVariable(OxinApplication* application)
    : ImmutableVariable("oxin_config", -1), application_(application) {}

Variable* ConfigurationAggregateVariable::Clone(OxinApplication* application) {
    return new ConfigurationAggregateVariable(application);
}

void ConfigurationAggregateVariable::Load() {
    if (loaded_) return;
    loaded_ = true;
    for (const ConfigMember& member : kMembers) {
        Variable* element = new ConfigurationVariable(application_, member.name, member.id);
        Variable::SetElement(AggregateIndex(member.name, -1), element);
        element->DecRefCount();
    }
    // After the values, the registered libraries of each kind: their names
    // as arrays, then structures that tell whether a name is registered.
    static const char* const kLists[] = {"commerce_list", "database_list", "systemlib_list"};
    static const char* const kLookups[] = {"commerce_lookup", "database_lookup",
                                           "systemlib_lookup"};
    for (int kind = 0; kind < 3; kind++)
        Add_Member(new ConfigurationLibraryListVariable(application_, kLists[kind], kind));
    for (int kind = 0; kind < 3; kind++)
        Add_Member(new ConfigurationLibraryLookupVariable(application_, kLookups[kind], kind));
}

void ConfigurationAggregateVariable::Add_Member(Variable* element) {
    Variable::SetElement(AggregateIndex(element->name()), element);
    element->DecRefCount();
}

AggregateElementTree* ConfigurationAggregateVariable::aggregateelements() {
    Load();
    return Variable::aggregateelements();
}

String& ConfigurationAggregateVariable::value() {
    Load();
    return Variable::value();
}

Variable* ConfigurationAggregateVariable::Element(const AggregateIndex& index, int create) {
    Load();
    return ImmutableVariable::Element(index, create);
}

Variable* ConfigurationAggregateVariable::Element(List<AggregateIndex>* path, int create) {
    Load();
    return Variable::Element(path, create);
}
