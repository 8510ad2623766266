#include "host/LogRecord.h"

#include <cstdio>
#include <cstring>

#include "base/OxTime.h"
#include "base/TextConversion.h"
#include "variables/AggregateElement.h"
#include "variables/AggregateElementTree.h"
#include "variables/Variable.h"

namespace {

void append_integer(String& line, int value) {
    int length, size;
    char* text = TextConversion::itos(value, &length, &size);
    line.cat(text, length);
    delete[] text;
}

void append_double(String& line, double value) {
    int length, size;
    char* text = TextConversion::dtos(value, &length, &size, -1);
    line.cat(text, length);
    delete[] text;
}

void append_elements(String& line, Variable* variable, bool with_names) {
    bool first = true;
    variable->aggregateelements()->InOrder([&](AggregateElement* element) {
        if (!first) line.cat(", ");
        first = false;
        if (with_names) {
            const String& name = element->index().name();
            LogRecord::Append_String(line, name.c_str(), name.length());
            line.cat(": ");
        }
        Variable* value = element->var()->RealIdentity();
        if (value->aggregatetype() != AggregateNone) {
            LogRecord::Append_Variable(line, value);
        } else {
            const String& text = value->value();
            LogRecord::Append_String(line, text.c_str(), text.length());
        }
    });
}

}  // namespace

void LogRecord::Append_String(String& line, const char* text, int length) {
    if (!text) return;
    if (length < 0) length = static_cast<int>(strlen(text));
    int from = 0;
    for (int i = 0; i < length; i++) {
        auto byte = static_cast<unsigned char>(text[i]);
        if (byte >= 32) continue;
        line.cat(text + from, i - from);
        char escape[8];
        snprintf(escape, sizeof escape, "\\x%02x", byte);
        line.cat(escape);
        from = i + 1;
    }
    line.cat(text + from, length - from);
}

void LogRecord::Append_Variable(String& line, Variable* variable) {
    if (!variable) return;
    variable = variable->RealIdentity();
    switch (variable->aggregatetype()) {
        case AggregateArray:
            line.cat("[");
            append_integer(line, variable->Max());
            line.cat("] = [ ");
            append_elements(line, variable, false);
            line.cat(" ]");
            return;
        case AggregateStructure:
            line.cat("{ ");
            append_elements(line, variable, true);
            line.cat(" }");
            return;
        default:
            break;
    }
    switch (variable->primary_type()) {
        case PrimaryString: {
            const String& text = variable->value();
            Append_String(line, text.c_str(), text.length());
            break;
        }
        case PrimaryInteger:
            append_integer(line, variable->value_integer());
            break;
        case PrimaryDouble:
            append_double(line, variable->value_double());
            break;
        default:
            break;
    }
}

String LogRecord::Line(int pid, const char* description, const LogParameter* parameters) {
    OXTIME now;
    ox_gettimevalues(&now);
    char stamp[128];
    snprintf(stamp, sizeof stamp, "%.3s %-2d %-4d %02d:%02d:%02d.%06ld\t%d\t", now.month_name,
             now.day, now.year, now.hour, now.minute, now.second, now.microseconds, pid);
    String line(stamp);
    line.cat(description);
    for (const LogParameter* p = parameters; p && p->type != LogParameter::kEnd; p++) {
        line.cat('\t');
        switch (p->type) {
            case LogParameter::kText:
                Append_String(line, p->text, p->length);
                break;
            case LogParameter::kInteger:
                append_integer(line, p->integer);
                break;
            case LogParameter::kDouble:
                append_double(line, p->number);
                break;
            case LogParameter::kVariable:
                Append_Variable(line, p->variable);
                break;
            default:
                break;
        }
    }
    line.cat('\n');
    return line;
}
