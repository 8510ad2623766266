#include "config/ConfigFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "application/ConfigKeys.h"

namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

std::string trimmed(const std::string& text) {
    size_t first = 0, last = text.size();
    while (first < last && is_blank(text[first]))
        first++;
    while (last > first && is_blank(text[last - 1]))
        last--;
    return text.substr(first, last - first);
}

// The next blank-separated word of text from *at.
std::string next_word(const std::string& text, size_t* at) {
    while (*at < text.size() && is_blank(text[*at]))
        (*at)++;
    size_t start = *at;
    while (*at < text.size() && !is_blank(text[*at]) && text[*at] != '=')
        (*at)++;
    return text.substr(start, *at - start);
}

bool same_text(const std::string& a, const char* b) {
    return strcasecmp(a.c_str(), b) == 0;
}

const ConfigKey* find_key(const std::string& name) {
    for (const ConfigKey* key = kConfigKeys; key->key; key++) {
        if (same_text(name, key->key)) return key;
    }
    return nullptr;
}

bool parse_integer(const std::string& text, int* value) {
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    long long number = strtoll(text.c_str(), &end, 0);
    if (errno || *end || number < -2147483648LL || number > 4294967295LL) return false;
    *value = static_cast<int>(static_cast<unsigned>(number));
    return true;
}

}  // namespace

bool ConfigFile::Fail(const std::string& reason) {
    error_ = path_ + ": line " + std::to_string(line_number_) + ": " + reason;
    return false;
}

// C streams rather than C++ ones: the library links its own copy of the C++
// runtime, whose locale set-up for iostreams would cost every request more
// than reading the file does. What cannot be read (a directory) reads as
// empty, as it did with a stream.
bool ConfigFile::Read(const std::string& path) {
    std::unique_ptr<FILE, int (*)(FILE*)> in(fopen(path.c_str(), "rb"), fclose);
    if (!in) {
        error_ = path + ": cannot read the configuration file: " + strerror(errno);
        return false;
    }
    std::string text;
    char buffer[8192];
    size_t count;
    while ((count = fread(buffer, 1, sizeof buffer, in.get())) > 0)
        text.append(buffer, count);
    return Parse(path, text);
}

// Lines end at '\n'; text behind the last one is a line of its own.
bool ConfigFile::Parse(const std::string& path, const std::string& text) {
    path_ = path;
    entries_.clear();
    line_number_ = 1;
    for (size_t start = 0; start < text.size(); line_number_++) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        if (!Line(text.substr(start, end - start))) return false;
        start = end + 1;
    }
    return true;
}

// "= value" at *at, the value unquoted.
static bool assigned_value(const std::string& line, size_t at, std::string* value) {
    while (at < line.size() && is_blank(line[at]))
        at++;
    if (at >= line.size() || line[at] != '=') return false;
    std::string rest = trimmed(line.substr(at + 1));
    if (rest.size() < 2 || rest.front() != '"' || rest.back() != '"') {
        *value = rest;
        return true;
    }
    value->clear();
    for (size_t i = 1; i + 1 < rest.size(); i++) {
        if (rest[i] == '\\' && i + 2 < rest.size()) i++;
        *value += rest[i];
    }
    return true;
}

bool ConfigFile::Line(const std::string& raw) {
    std::string line = trimmed(raw);
    if (line.empty() || line[0] == '#') return true;
    size_t at = 0;
    std::string word = next_word(line, &at);
    Entry entry{};
    if (same_text(word, "library")) {
        entry.kind = Entry::Library;
        entry.kind_name = next_word(line, &at);
        bool builtin = same_text(entry.kind_name, "builtin");
        if (!builtin && !same_text(entry.kind_name, "database") &&
            !same_text(entry.kind_name, "commerce") && !same_text(entry.kind_name, "system"))
            return Fail("expected builtin, database, commerce or system after library");
        if (!builtin) entry.name = next_word(line, &at);
        entry.value = trimmed(line.substr(at));
        if (entry.value.empty() || (!builtin && entry.name.empty()))
            return Fail(builtin ? "expected: library builtin PATH"
                                : "expected: library " + entry.kind_name + " NAME PATH");
    } else if (same_text(word, "system") || same_text(word, "global") || same_text(word, "error")) {
        entry.kind = same_text(word, "system")   ? Entry::System
                     : same_text(word, "global") ? Entry::Global
                                                 : Entry::Error;
        entry.name = next_word(line, &at);
        if (entry.name.empty() || !assigned_value(line, at, &entry.value))
            return Fail("expected: " + word + " NAME = VALUE");
        if (entry.kind == Entry::Error && !parse_integer(entry.value, &entry.integer))
            return Fail("the flags of an error setting are a number");
    } else {
        const ConfigKey* key = find_key(word);
        if (!key) return Fail("unknown setting " + word);
        entry.id = key->id;
        if (!assigned_value(line, at, &entry.value)) return Fail("expected: " + word + " = VALUE");
        bool integer = (key->id & 0x1000000) != 0;
        entry.kind = integer ? Entry::Integer : Entry::Text;
        if (integer && !parse_integer(entry.value, &entry.integer))
            return Fail(word + " takes a number");
    }
    entries_.push_back(entry);
    return true;
}
