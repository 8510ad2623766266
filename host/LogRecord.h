#pragma once

#include "application/LogParameter.h"
#include "base/StringClass.h"

class Variable;

// The line of one log record, in the one layout of the log file:
//   "Mon DD YYYY HH:MM:SS.uuuuuu<TAB>pid<TAB>description" and a tab before
// each parameter, then a line feed. Control bytes of texts are written as
// "\xNN" so that a record is always one line.
class LogRecord {
  public:
    // The whole line of a record made now by process pid.
    static String Line(int pid, const char* description, const LogParameter* parameters);
    // Appends text (length -1: up to the NUL), each byte below 32 as "\xNN".
    static void Append_String(String& line, const char* text, int length);
    // Appends a variable: an array as "[max] = [ a, b ]", a structure as
    // "{ name: value, ... }", a scalar by its form (text, integer, double);
    // aggregates within aggregates recurse.
    static void Append_Variable(String& line, Variable* variable);
};
