#pragma once

#include "variables/ImmutableVariable.h"

class OxinApplication;

// System variables that are no stored values: each read does the work
// again, so that a script that reads dyn_tm_sec twice sees time pass.

// The clock, one field of the local time by kind (0 dyn_time_t ...
// 13 dyn_stm_zone). type() is 3 for the numbers and 4 for the names.
class DynamicTimeVariable : public ImmutableVariable {
  public:
    static constexpr int kKinds = 14;
    explicit DynamicTimeVariable(int kind);
    static const char* Name(int kind);

    Variable* Clone(OxinApplication* application) override;
    int type() override { return type_; }
    String& value() override;
    int value_integer() override;
    double value_double() override;
    double value_compare(int* error) override;
    bool IsNULL() override { return value().length() == 0; }

  private:
    bool IsText() const;
    int kind_;
    int type_;
};

// dyn_time_remaining: the seconds left before the script's deadline.
class TimeRemainingVariable : public ImmutableVariable {
  public:
    explicit TimeRemainingVariable(OxinApplication* application);
    Variable* Clone(OxinApplication* application) override;
    int type() override { return 3; }
    String& value() override;
    int value_integer() override;
    double value_double() override { return value_integer(); }
    double value_compare(int* error) override;
    bool IsNULL() override { return value().length() == 0; }

  private:
    OxinApplication* application_;
};

// A setting of the application that scripts read and assign: the text comes
// from the application when its change count moved, and an assignment goes
// to the application first.
class ApplicationSettingVariable : public ImmutableVariable {
  public:
    using Getter = const String& (OxinApplication::*)();
    using Counter = int (OxinApplication::*)();
    using Setter = void (OxinApplication::*)(const char*, int);
    ApplicationSettingVariable(const char* name, OxinApplication* application, Getter getter,
                               Counter counter, Setter setter);

    using Variable::SetValue;
    int SetValue(const char* text, int length) override;
    int SetValue(Variable& source) override;
    int SetValue_Nocopy(char* buffer, int length, int size) override;
    int SetValue_Integer(int value) override;
    int SetValue_Double(double value) override;
    String& value() override;
    bool IsNULL() override { return value().length() == 0; }

  protected:
    OxinApplication* application_;

  private:
    Getter getter_;
    Counter counter_;
    Setter setter_;
    int seen_ = -1;
};

// oxin_language, oxin_defaultlanguage, oxin_defaultdatabase, oxin_charset.
class LanguageVariable : public ApplicationSettingVariable {
  public:
    explicit LanguageVariable(OxinApplication* application);
    Variable* Clone(OxinApplication* application) override;
};
class DefaultLanguageVariable : public ApplicationSettingVariable {
  public:
    explicit DefaultLanguageVariable(OxinApplication* application);
    Variable* Clone(OxinApplication* application) override;
};
class DefaultDatabaseVariable : public ApplicationSettingVariable {
  public:
    explicit DefaultDatabaseVariable(OxinApplication* application);
    // A DefaultLanguageVariable, as cloned variable worlds have always had.
    Variable* Clone(OxinApplication* application) override;
};
class CharacterSetVariable : public ApplicationSettingVariable {
  public:
    explicit CharacterSetVariable(OxinApplication* application);
    Variable* Clone(OxinApplication* application) override;
};

// oxin_sslavailable: 1 when TLS can be loaded, asked at the first read.
class SSLAvailableVariable : public ImmutableVariable {
  public:
    explicit SSLAvailableVariable(OxinApplication* application);
    Variable* Clone(OxinApplication* application) override;
    String& value() override;
    int value_integer() override;
    double value_double() override { return value_integer(); }
    double value_compare(int* error) override;
    bool IsNULL() override { return value().length() == 0; }

  private:
    OxinApplication* application_;
    int available_ = -1;
};

// process_name: the name the process shows.
class ProcessNameVariable : public ImmutableVariable {
  public:
    explicit ProcessNameVariable(OxinApplication* application);
    Variable* Clone(OxinApplication* application) override;
    String& value() override;

  private:
    OxinApplication* application_;
};

// One value of the live configuration, read at each use.
class ConfigurationVariable : public ImmutableVariable {
  public:
    ConfigurationVariable(OxinApplication* application, const char* name, int id);
    Variable* Clone(OxinApplication* application) override;
    int type() override { return ((id_ >> 25) & 1) + 3; }
    String& value() override;
    int value_integer() override;
    double value_double() override { return value_integer(); }
    double value_compare(int* error) override;
    bool IsNULL() override { return value().length() == 0; }

  private:
    OxinApplication* application_;
    int id_;
};

// oxin_config: a structure of the configuration's values, made at the
// first look.
class ConfigurationAggregateVariable : public ImmutableVariable {
  public:
    explicit ConfigurationAggregateVariable(OxinApplication* application);
    Variable* Clone(OxinApplication* application) override;
    AggregateElementTree* aggregateelements() override;
    String& value() override;
    Variable* Element(const AggregateIndex& index, int create) override;
    Variable* Element(List<AggregateIndex>* path, int create) override;

  private:
    void Load();
    // Adds element (handing over the caller's count) under its name.
    void Add_Member(Variable* element);
    OxinApplication* application_;
    bool loaded_ = false;
};
