#pragma once

#include <cstdint>

#include "base/StringClass.h"
#include "statements/LocalizedIndex.h"

class Dictionary;
class OxinApplication;
class TaggedFile;

using LocalizedLanguages_Entry = LocalizedPair<LocalizedIndex*>;  // name, index or null

// The languages of a script's localized text, found by name without regard
// to case, each with its token index. The language table is read with the
// script; a language's index is read from its own section when the
// language is first looked up, so a request pays only for the languages
// that it uses.
class LocalizedLanguages {
  public:
    static constexpr int kHashBits = 12;
    static constexpr int kCapacity = 8;
    static constexpr int kGrowth = 8;
    static constexpr int kRecordSize = 8;

    // No languages, over dictionary (not owned); file (not owned, may be
    // null) is where the indexes come from.
    LocalizedLanguages(OxinApplication* application, Dictionary* dictionary,
                       TaggedFile* file = nullptr, int bits = kHashBits, int capacity = kCapacity);
    // A copy for a cloned machine over dictionary, which must give the same
    // ids the same texts. Each index is copied; one that source has not
    // loaded yet is read now if source has a file, since the copy keeps no
    // file and can never load later.
    LocalizedLanguages(LocalizedLanguages& source, OxinApplication* application,
                       Dictionary* dictionary);
    LocalizedLanguages(const LocalizedLanguages&) = delete;
    LocalizedLanguages& operator=(const LocalizedLanguages&) = delete;
    virtual ~LocalizedLanguages();

    // Adds token (its text added to the dictionary) with the first piece
    // value to the index of the language of that name, which is added
    // first if absent. Returns the token's entry number in the index.
    int Add_Entry(const char* language, int language_length, const char* token, int token_length,
                  int value);
    // The same with dictionary ids; -1 when the dictionary knows neither.
    int Add_Entry(int language, int token, int value);
    // The entry number of the language whose name is the text of dictionary
    // entry language, added (with no index) when no language has that text;
    // -1 for an id that the dictionary does not know.
    int Add_Entry(int language);

    // The entry of token (a dictionary id, matched by its text) for the
    // request: from the application's language when that language has it,
    // else from its default language; null when neither has it. Language
    // names are not split: "de-CH" does not find "de".
    LocalizedIndex_Entry* Get_Entry(int token);
    // The entry of token (a dictionary id, matched by its text) in the index
    // of the language with entry number language, or null.
    LocalizedIndex_Entry* Get_Entry(int language, int token);
    // The entry number of the language named by the text of dictionary entry
    // id, its index loaded; -1 when absent.
    int Get_Language_Entry(int id);
    // The entry number of the language of the name (length -1: up to the
    // NUL), or -1. An index not yet loaded is read from the file's section
    // for the language, and the file is then deactivated; an index that
    // cannot be read stays empty.
    int Get_Language_Entry(const char* name, int length);
    // Language entry n, or null; its index may not be loaded.
    LocalizedLanguages_Entry* Language(int n) { return table_.Entry(n); }
    // The index of language n, loaded or made empty first if need be; null
    // only for n out of range.
    LocalizedIndex* Index(int n);
    int Entries() const { return table_.Entries(); }
    const LocalizedTable<LocalizedIndex*>& table() const { return table_; }

    // Read(file()).
    bool Read();
    // Replaces the languages with the "locl" section of file, which becomes
    // the file of the indexes. Indexes are not read here. On failure the
    // text is in error() and the languages are unchanged.
    bool Read(TaggedFile* file);
    // Writes "locl", then the token indexes: for a file of version above
    // 0x10007 each language's in its own section, for an older one only the
    // first language's, as section 0.
    bool Write(TaggedFile* file);

    OxinApplication* application() const { return application_; }
    Dictionary* dictionary() const { return dictionary_; }
    TaggedFile* file() const { return file_; }
    virtual const String& error() { return error_; }
    virtual void Error(const String& text) { error_ = text; }

  private:
    bool Fail(const String& text);
    void DeleteIndexes();
    int Language_Named(const String& name);

    // The stamps mark when the cached entry numbers were looked up, by the
    // application's count of changes to its language.
    static constexpr int kNoStamp = -2147483647 - 1;

    OxinApplication* application_;
    Dictionary* dictionary_;
    TaggedFile* file_;
    LocalizedTable<LocalizedIndex*> table_;
    int language_ = -1;
    int language_stamp_ = kNoStamp;
    int default_language_ = -1;
    int default_stamp_ = kNoStamp;
    String error_;
};
