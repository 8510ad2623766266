#pragma once

class OxinVM;

// OxIMPORT: import opens a delimited text file of the data directory (file,
// delimiter and variable names on the stack) and runs the body for its first
// record, or jumps past the body (operand) when the file has none or cannot
// be read; importf does the same with a filter expression above them, and
// the body runs only for records that the filter accepts. import_loop reads
// the next record and jumps back to the body (operand), or ends the loop;
// import_stop ends the loop and jumps (OxIMPORTSTOP).
void import(OxinVM* vm);
void importf(OxinVM* vm);
void import_loop(OxinVM* vm);
void import_stop(OxinVM* vm);
// OxEXPORT: appends one record of the named variables' values, separated by
// the delimiter, to a file of the data directory, in a single write.
void op_export(OxinVM* vm);
// The machine's end of a filter's code: pass says whether the filter
// accepted the current record.
void import_filter(OxinVM* vm, bool pass);
