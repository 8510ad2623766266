// The log filter and the texts of the log kinds, shared by every
// application; where records go is the concrete application's business.

#include <cctype>
#include <cstring>

#include "application/OxinApplication.h"

namespace {

const char* skip_space(const char* p) {
    while (*p && isspace(static_cast<unsigned char>(*p)))
        p++;
    return p;
}

// A decimal number at p (0 when there are no digits), after white space.
int read_number(const char** p) {
    *p = skip_space(*p);
    long value = 0;
    while (isdigit(static_cast<unsigned char>(**p))) {
        if (value < 100000000) value = value * 10 + (**p - '0');
        (*p)++;
    }
    return static_cast<int>(value);
}

bool ends_name(char c) {
    return c == '\0' || c == ':' || c == ',' || isspace(static_cast<unsigned char>(c));
}

bool any_matches(List<LogFilterEntry>& entries, const char* file, int length, int line) {
    for (LogFilterEntry* entry = entries.First(); entry; entry = entries.Next())
        if (entry->Matches(file, length, line)) return true;
    return false;
}

}  // namespace

bool LogFilterEntry::Matches(const char* file, int length, int line) const {
    return name_length == length && memcmp(name, file, length) == 0 &&
           (first_line == 0 || line >= first_line) && (last_line == 0 || line <= last_line);
}

void OxinApplication::ParseLogFilter(const char* text) {
    log_include.Dump();
    log_exclude.Dump();
    const char* p = text ? text : "";
    for (;;) {
        p = skip_space(p);
        bool exclude = *p == '!';
        if (exclude) p = skip_space(p + 1);
        if (!*p) return;
        if (*p == ',') {
            p++;
            continue;
        }
        const char* name = p;
        while (!ends_name(*p))
            p++;
        int name_length = static_cast<int>(p - name);
        p = skip_space(p);
        int first = 0, last = 0;
        if (*p == ':') {
            p = skip_space(p + 1);
            if (!*p) return;
            first = last = read_number(&p);
            p = skip_space(p);
            if (*p == '-') {
                p++;
                last = read_number(&p);
            }
        }
        auto* entry = new LogFilterEntry(name, name_length, first, last);
        (exclude ? log_exclude : log_include).Insert(entry, ListTail);
        while (*p && *p != ',')
            p++;
        if (*p == ',') p++;
    }
}

bool OxinApplication::LogMatchesFilter(const char* file, int length, int line) {
    if (log_suppressed) return false;
    if (any_matches(log_exclude, file, length, line)) return false;
    if (log_include.Entries() == 0) return true;
    return any_matches(log_include, file, length, line);
}

void OxinApplication::Log(unsigned, LogParameter*) {}

const char* OxinApplication::Log_Description(unsigned kind) {
    switch (kind) {
        case 16: return "Function Call";
        case 32: return "Function Parameter";
        case 64: return "Function Return Value";
        case 128: return "Function Return";
        case 256: return "External Function Call";
        case 512: return "External Function Parameter";
        case 1024: return "External Function Return Value";
        case 2048: return "External Function Return";
        case 4096: return "OxDO Enter";
        case 8192: return "OxDO Exit";
        case 0x100000: return "OxCALL";
        case 0x200000: return "OxSMTP";
        case 0x8000000: return "Application Timed Out";
        case 0x10000000: return "Runtime Error";
        case 0x20000000: return "Fatal Error";
        case 0x40000000: return "Trace";
        default: return "Unknown";
    }
}
