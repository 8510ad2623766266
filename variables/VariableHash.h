#pragma once

#include <cstdint>

#include "base/StringClass.h"

class Dictionary;
class OxinApplication;
class TaggedFile;
class Variable;
class VariableList;

// One entry of a scope: the name's dictionary id, the version (level) at
// which it was filled, and its variable, null until first needed.
struct _VH_Entry {
    int id;
    int version;
    Variable* variable;
};

// The scope codes of VariableHash::Scope.
enum VariableScope {
    ScopeLocal = 0,
    ScopeGlobal = 1,
    ScopeSystem = 2,
    ScopeDatabase = 3,
    ScopeNone = 5,
};

// A scope of variables. Entries are numbered in insertion order and compiled
// code reaches them by number; names live in a Dictionary that the hash
// does not own, and are found case-insensitively through a chained table
// whose buckets never change in number. The hash holds one count on each
// variable in it.
class VariableHash {
  public:
    static constexpr int kGrowth = 512;

    // An empty scope of 2^bits buckets and room for capacity entries.
    VariableHash(Dictionary* dictionary, int bits = 12, int capacity = 512);
    // The same tables (buckets, links, entries) with every variable slot
    // empty.
    VariableHash(VariableHash& source);
    // The same tables over dictionary, with a clone of each of source's
    // variables.
    VariableHash(OxinApplication* application, Dictionary* dictionary, VariableHash& source);
    VariableHash& operator=(const VariableHash&) = delete;
    // Drops the hash's count on every variable.
    virtual ~VariableHash();

    // Short forms of the four-argument Insert: a variable under its own
    // name; a name without a variable; a dictionary id without a variable.
    virtual int Insert(Variable* variable);
    virtual int Insert(const char* name, int length);
    virtual int Insert(int id);
    // Gives name the text value, making the variable if needed. Returns 1.
    virtual int SetVariable(const char* name, int length, const char* value, int value_length);
    // Puts variable (whose count passes to the hash) under its name,
    // dropping the one there before.
    virtual int SetVariable(Variable* variable);
    // Makes entry n a reference to target unless it holds target already.
    // Returns 1, or 0 for a number out of range.
    virtual int SetVariable_Reference(int n, Variable* target);
    // Stores value under a full name with aggregate parts. With append, a
    // name that already has a value becomes an array of its values. Returns 0.
    virtual int SetVariable_Fancy(const char* name, int length, const char* value, int value_length,
                                  int append);
    // The number of the first entry of the name (taken from the dictionary
    // when name is null), or -1; *out receives the entry when given.
    virtual int Seek(int id, const char* name, int length, _VH_Entry** out = nullptr);
    // Adds entry number Entries() for the name (id -1: added to the
    // dictionary; null name: taken from the dictionary by id) holding
    // variable, whose count passes to the hash. An equal name already
    // present keeps its place in front. Returns the number, -1 for an id
    // that the dictionary does not know.
    virtual int Insert(int id, const char* name, int length, Variable* variable);
    // The version that new entries get; 0 here.
    virtual int Version();
    // Unsets the variable of the name; 1, or 0 when there is none.
    virtual int ClearVariable(const char* name, int length);
    // True when the name has an entry; *out is its variable, made first if
    // create is set, or null.
    virtual bool Find(Variable** out, const char* name, int length, int create);
    // Resolves a full name such as a[1]:b[2]. True with *out null when
    // something is missing (made on the way with create); false, with the
    // text in error(), only for a malformed name.
    virtual bool LookupVariable_Fancy(Variable** out, const char* name, int length, int create);
    // The variable of entry n, made if create is set; null out of range.
    virtual Variable* Index(int n, int create);
    // Index(n, 1), without the virtual call when the variable exists in a
    // hash whose entries hold its variables.
    Variable* Index_Made(int n) {
        if (direct_index_ && InRange(n) && entries_[n].variable) return entries_[n].variable;
        return Index(n, 1);
    }
    virtual int Entries();
    // Appends every variable that exists, in entry order.
    virtual void AllocatedVars(VariableList* list);
    // The stored table as section id of file.
    virtual bool Read(TaggedFile* file, uint32_t id);
    virtual bool Write(TaggedFile* file, uint32_t id);
    // The stored table at the read position of file's current section,
    // replacing every entry, or appended to its open section.
    virtual bool Read(TaggedFile* file);
    virtual bool Write(TaggedFile* file);
    virtual const String& error();
    // Keeps the text unless its pointer is null.
    virtual void Error(const String& text);
    // Levels of overriding; nothing here, Pop returns 0.
    virtual void Push();
    virtual int Pop();
    // The hash that really holds the variables: this one here.
    virtual VariableHash* RealIdentity();

    // Drops every variable and empties the slots; names stay.
    void Dump();
    // The same, except that the variables of the entries in the mask (bit n
    // for entry n, below 64) that Variable::Reusable allows stay in their
    // slots, cleared as if new.
    void Dump_Keeping(uint64_t entries);

    // Splits a scope prefix (l. local. g. global. s. system. d. database.
    // name.d. name.database., case-insensitive) off name. Returns the
    // VariableScope code; *rest is the name behind the prefix, *database the
    // database name of a database scope (empty for none named).
    static int Scope(const char* name, int length, const char** rest, int* rest_length,
                     const char** database, int* database_length);

    Dictionary* dictionary() const { return dictionary_; }
    int bits() const { return bits_; }
    int buckets() const { return bucket_count_; }
    int used_buckets() const { return used_buckets_; }
    int capacity() const { return capacity_; }
    // Read access to the tables, for the file format and checks.
    int bucket_head(int bucket) const;
    int next_link(int n) const;
    const _VH_Entry* entry(int n) const;

  protected:
    // The name of entry n from the dictionary; null for an unknown id.
    const char* EntryName(int n, int* length) const;
    bool InRange(int n) const { return n >= 0 && n < count_; }
    // Fills an empty slot with a new variable of the entry's name.
    Variable* Allocate(int n);
    // The buckets, all empty, for a hash that has none yet.
    void MakeBuckets();
    void Grow();
    void CopyTables(const VariableHash& source);
    void FreeTables();

    // Null until the first insertion.
    int* buckets_ = nullptr;
    int bits_ = 0;
    int bucket_count_ = 0;
    int used_buckets_ = 0;
    int* links_ = nullptr;
    int capacity_ = 0;
    _VH_Entry* entries_ = nullptr;
    int count_ = 0;
    Dictionary* dictionary_ = nullptr;
    String error_;
    // Cleared by the subclasses whose Index finds variables elsewhere.
    bool direct_index_ = true;

  private:
    bool Malformed(Variable** out);
};
