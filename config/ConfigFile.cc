#include "config/ConfigFile.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "application/ConfigKeys.h"

// The parser works on [begin, end) ranges of the buffer and rewrites them in
// place: a value is unquoted where it stands, and a NUL is written behind
// each text handed on, once nothing more of the line needs the byte there.
// The byte behind a trimmed line is always free: a trimmed blank, the line's
// '\n' (its end is found before the line is parsed), or the buffer's spare
// byte.

namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

char* skip_blanks(char* at, char* end) {
    while (at < end && is_blank(*at))
        at++;
    return at;
}

char* trim_end(char* begin, char* end) {
    while (end > begin && is_blank(end[-1]))
        end--;
    return end;
}

// The end of the word at at: up to a blank, an '=' or the end.
char* word_end(char* at, char* end) {
    while (at < end && !is_blank(*at) && *at != '=')
        at++;
    return at;
}

ConfigFile::Span span(const char* begin, const char* end) {
    return {begin, static_cast<int>(end - begin)};
}

// Compares as C strings do, without regard to case: up to a NUL in text.
bool same_text(ConfigFile::Span text, const char* word) {
    size_t visible = strnlen(text.data, text.length);
    return strlen(word) == visible && strncasecmp(text.data, word, visible) == 0;
}

const ConfigKey* find_key(ConfigFile::Span name) {
    for (const ConfigKey* key = kConfigKeys; key->key; key++) {
        if (same_text(name, key->key)) return key;
    }
    return nullptr;
}

// Decimal, 0x hexadecimal or 0 octal, from -2147483648 to 4294967295, the
// upper half wrapping to negative ints. text ends with a NUL.
bool parse_integer(ConfigFile::Span text, int* value) {
    if (text.length == 0) return false;
    errno = 0;
    char* end = nullptr;
    long long number = strtoll(text.data, &end, 0);
    if (errno || *end || number < -2147483648LL || number > 4294967295LL) return false;
    *value = static_cast<int>(static_cast<unsigned>(number));
    return true;
}

// Removes the quotes around [begin, end) and the backslash of each escape
// (except one right before the closing quote); the new end.
char* unquote(char* begin, char* end) {
    char* out = begin;
    for (char* in = begin + 1; in + 1 < end; in++) {
        if (*in == '\\' && in + 2 < end) in++;
        *out++ = *in;
    }
    return out;
}

// "= value" at at on a line trimmed to end: the value unquoted and ended
// with a NUL; false without the "=".
bool assigned_value(char* at, char* end, ConfigFile::Span* value) {
    at = skip_blanks(at, end);
    if (at == end || *at != '=') return false;
    char* begin = skip_blanks(at + 1, end);
    if (end - begin >= 2 && *begin == '"' && end[-1] == '"') end = unquote(begin, end);
    *end = '\0';
    *value = span(begin, end);
    return true;
}

}  // namespace

ConfigFile::~ConfigFile() {
    free(text_);
    free(entries_);
    free(error_);
}

// C streams: what cannot be read (a directory) reads as empty.
bool ConfigFile::Read(const char* path) {
    path_ = path;
    FILE* in = fopen(path, "rb");
    if (!in) return CannotRead(errno);
    bool read = ReadText(in);
    fclose(in);
    return read && ParseLines();
}

bool ConfigFile::ReadText(FILE* in) {
    size_t capacity = 0;
    for (;;) {
        if (length_ + 1 >= capacity) {
            capacity = capacity ? capacity * 2 : 4096;
            char* grown = static_cast<char*>(realloc(text_, capacity));
            if (!grown) return CannotRead(ENOMEM);
            text_ = grown;
        }
        size_t count = fread(text_ + length_, 1, capacity - 1 - length_, in);
        if (count == 0) return true;
        length_ += count;
    }
}

// Lines end at '\n'; text behind the last one is a line of its own.
bool ConfigFile::ParseLines() {
    line_number_ = 1;
    char* text_end = text_ + length_;
    for (char* start = text_; start < text_end; line_number_++) {
        char* end = static_cast<char*>(memchr(start, '\n', text_end - start));
        if (!end) end = text_end;
        if (!ParseLine(start, end)) return false;
        start = end + 1;
    }
    return true;
}

bool ConfigFile::ParseLine(char* begin, char* end) {
    begin = skip_blanks(begin, end);
    end = trim_end(begin, end);
    if (begin == end || *begin == '#') return true;
    char* at = word_end(begin, end);
    Span keyword = span(begin, at);
    Entry entry{};
    bool parsed;
    if (same_text(keyword, "library")) {
        parsed = ParseLibrary(at, end, &entry);
    } else if (same_text(keyword, "system") || same_text(keyword, "global") ||
               same_text(keyword, "error")) {
        parsed = ParseVariable(keyword, at, end, &entry);
    } else {
        parsed = ParseSetting(keyword, at, end, &entry);
    }
    return parsed && Add(entry);
}

// The path is the rest of the line. The name is handed on as a C string,
// but the byte behind it may be the path's first ("library database pg=/x"
// has the path "=/x"); the byte before it is always a blank, so the name
// moves back one byte to end with a NUL of its own.
bool ConfigFile::ParseLibrary(char* at, char* end, Entry* entry) {
    entry->kind = Entry::Library;
    char* kind = skip_blanks(at, end);
    at = word_end(kind, end);
    Span kind_name = span(kind, at);
    // In the order of Entry::LibraryKind.
    static const char* const kKinds[] = {"builtin", "database", "commerce", "system"};
    constexpr int kCount = sizeof kKinds / sizeof kKinds[0];
    int found = 0;
    while (found < kCount && !same_text(kind_name, kKinds[found]))
        found++;
    if (found == kCount)
        return Fail("expected builtin, database, commerce or system after library");
    entry->library = static_cast<Entry::LibraryKind>(found);
    bool builtin = entry->library == Entry::Builtin;
    char* name = at;
    if (!builtin) {
        name = skip_blanks(at, end);
        at = word_end(name, end);
    }
    char* path = skip_blanks(at, end);
    if (path == end || (!builtin && name == at)) {
        return builtin ? Fail("expected: library builtin PATH")
                       : Fail("expected: library ", kind_name, " NAME PATH");
    }
    if (!builtin) {
        memmove(name - 1, name, at - name);
        at[-1] = '\0';
        entry->name = span(name - 1, at - 1);
    }
    *end = '\0';
    entry->value = span(path, end);
    return true;
}

// The name ends with a NUL once the value is parsed: the byte behind it is
// the "=" or a blank before it.
bool ConfigFile::ParseVariable(Span keyword, char* at, char* end, Entry* entry) {
    entry->kind = same_text(keyword, "system")   ? Entry::System
                  : same_text(keyword, "global") ? Entry::Global
                                                 : Entry::Error;
    char* name = skip_blanks(at, end);
    at = word_end(name, end);
    if (name == at || !assigned_value(at, end, &entry->value))
        return Fail("expected: ", keyword, " NAME = VALUE");
    *at = '\0';
    entry->name = span(name, at);
    if (entry->kind == Entry::Error && !parse_integer(entry->value, &entry->integer))
        return Fail("the flags of an error setting are a number");
    return true;
}

bool ConfigFile::ParseSetting(Span keyword, char* at, char* end, Entry* entry) {
    const ConfigKey* key = find_key(keyword);
    if (!key) return Fail("unknown setting ", keyword);
    entry->id = key->id;
    if (!assigned_value(at, end, &entry->value)) return Fail("expected: ", keyword, " = VALUE");
    bool integer = (key->id & 0x1000000) != 0;
    entry->kind = integer ? Entry::Integer : Entry::Text;
    if (integer && !parse_integer(entry->value, &entry->integer))
        return Fail("", keyword, " takes a number");
    return true;
}

bool ConfigFile::Add(const Entry& entry) {
    if (count_ == capacity_) {
        int capacity = capacity_ ? capacity_ * 2 : 16;
        void* grown = realloc(static_cast<void*>(entries_), capacity * sizeof(Entry));
        if (!grown) return Fail(strerror(ENOMEM));
        entries_ = static_cast<Entry*>(grown);
        capacity_ = capacity;
    }
    entries_[count_++] = entry;
    return true;
}

bool ConfigFile::CannotRead(int error_number) {
    if (asprintf(&error_, "%s: cannot read the configuration file: %s", path_,
                 strerror(error_number)) < 0)
        error_ = nullptr;
    return false;
}

// The engine takes the text as a C string: a NUL in the word ends it there.
bool ConfigFile::Fail(const char* before, Span word, const char* after) {
    bool whole = strnlen(word.data, word.length) == static_cast<size_t>(word.length);
    if (asprintf(&error_, "%s: line %d: %s%.*s%s", path_, line_number_, before, word.length,
                 word.data, whole ? after : "") < 0)
        error_ = nullptr;
    return false;
}
