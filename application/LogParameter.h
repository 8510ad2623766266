#pragma once

class Variable;

// The kinds of log records: bits of the mask log_level.
enum LogKind : unsigned {
    kLogFunctionCall = 0x10,
    kLogFunctionParameter = 0x20,
    kLogFunctionReturnValue = 0x40,
    kLogFunctionReturn = 0x80,
    kLogExternalCall = 0x100,
    kLogExternalParameter = 0x200,
    kLogExternalReturnValue = 0x400,
    kLogExternalReturn = 0x800,
    kLogDoEnter = 0x1000,
    kLogDoExit = 0x2000,
    kLogCall = 0x100000,
    kLogSMTP = 0x200000,
    kLogTimedOut = 0x8000000,
    kLogRuntimeError = 0x10000000,
    kLogFatalError = 0x20000000,
    kLogTrace = 0x40000000,
};

// One parameter of a log record. A record's parameters are an array closed
// by an entry of type kEnd.
struct LogParameter {
    enum Type { kText = 0, kInteger = 1, kDouble = 2, kVariable = 3, kEnd = 4 };

    int type;
    union {
        const char* text;
        int integer;
        double number;
        Variable* variable;
    };
    int length;  // of text; -1 measures up to the NUL

    static LogParameter Text(const char* value, int value_length) {
        LogParameter p{kText, {}, value_length};
        p.text = value;
        return p;
    }
    static LogParameter Integer(int value) {
        LogParameter p{kInteger, {}, 0};
        p.integer = value;
        return p;
    }
    static LogParameter Double(double value) {
        LogParameter p{kDouble, {}, 0};
        p.number = value;
        return p;
    }
    static LogParameter Of(Variable* value) {
        LogParameter p{kVariable, {}, 0};
        p.variable = value;
        return p;
    }
    static LogParameter End() { return LogParameter{kEnd, {}, 0}; }
};

// One entry of the log filter: a source file name and an optional range of
// its lines. A bound of 0 is no bound.
struct LogFilterEntry {
    LogFilterEntry(const char* text, int length, int first, int last)
        : name(new char[length > 0 ? length : 1]), name_length(length), first_line(first),
          last_line(last) {
        for (int i = 0; i < length; i++)
            name[i] = text[i];
    }
    ~LogFilterEntry() { delete[] name; }
    LogFilterEntry(const LogFilterEntry&) = delete;
    LogFilterEntry& operator=(const LogFilterEntry&) = delete;

    // Whether the event at line of file (length bytes) falls in this entry:
    // the same name, with case, and the line within the bounds.
    bool Matches(const char* file, int length, int line) const;

    char* name;  // not terminated
    int name_length;
    int first_line;
    int last_line;
};
