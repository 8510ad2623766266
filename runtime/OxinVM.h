#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include <initializer_list>

#include "application/LogParameter.h"
#include "base/Stack.h"
#include "base/StringClass.h"
#include "runtime/Feature.h"
#include "runtime/StatementState.h"
#include "runtime/TagLookup.h"

class ClonedStores;
class CommerceLibraryManager;
class Database;
class DatabaseView;
class Dictionary;
class ExternalCallManager;
class ExternalDatabaseLibraryManager;
class Function;
class FunctionParameter;
class FunctionManager;
class LocalizedDictionary;
class LocalizedLanguages;
class NULLVariable;
class OpenDatabases;
class OxinApplication;
class OxinVM_Frame;
class OxinVM_FunctionFrame;
class OxinVM_Stack;
class PoppedText;
class Segment;
class SegmentManager;
class SystemLibraryManager;
class Variable;
class VariableHash;
class VariableList;

// The virtual machine that runs a compiled script, or part of one, to its
// end: the instruction loop, the position, the frames with their stacks and
// variables, the per-run error table and the open statements (features).
// The stores of the compiled file are the caller's.
class OxinVM {
  public:
    static constexpr int kStackSize = 512;
    // Bits of the error flags of a frame, and of the log mask.
    static constexpr unsigned kErrorsReachApplication = 4;
    // The fatal error of a code address outside the code: a segment id
    // with no segment, or an offset outside its segment.
    static constexpr const char* kInvalidSegmentText = "Invalid segment reference";

    // A machine over the stores of a loaded script, positioned at the start
    // of the start segment in an outermost frame whose locals are the
    // globals. The three flags are the request's (null in a child: the
    // parent's); parent is the machine of the file that reached this one.
    OxinVM(const char* path, int path_length, OxinApplication* application, Dictionary* dictionary,
           VariableHash* system, VariableHash* global, SegmentManager* segments,
           FunctionManager* functions, ExternalCallManager* externalfunctions,
           CommerceLibraryManager* commerce, ExternalDatabaseLibraryManager* externaldbmgr,
           LocalizedLanguages* languages, LocalizedDictionary* pieces,
           std::atomic<unsigned>* heartbeat_count, std::atomic<int>* cancelled_flag,
           std::atomic<int>* finished_flag, OxinVM* parent);
    OxinVM(const OxinVM&) = delete;
    OxinVM& operator=(const OxinVM&) = delete;
    // Deletes every frame left and every open feature.
    virtual ~OxinVM();

    // Asynchronous tasks (OxinVMAsync.cc).
    // A deep copy of source for a task: the stores are copied and owned by
    // the copy, the variables cloned (the current frame's locals too when
    // they are not the globals); the position, tag table and log mask are
    // source's. Stack, features and open databases start empty, and there
    // is no parent. Null flags take the application's.
    OxinVM(OxinApplication* application, OxinVM& source, std::atomic<unsigned>* heartbeat_count,
           std::atomic<int>* cancelled_flag, std::atomic<int>* finished_flag);
    // In the process of a task, on the machine that started it: lets go of
    // every open database (and those of the parent) without closing the
    // request's statements, and forgets the open features, which belong to
    // the request; the task starts with nothing open.
    void ResetAsynchronousState();

    // Calls an external function; a fatal error until libraries can provide
    // them. Returns 1, or 0 after a fatal error.
    virtual int CallExternalFunction(Function* function);
    // Enters a script function: the arguments are taken from the stack and
    // the position moves to its entry point. Returns 1, or 0 after a fatal
    // error.
    virtual int CallFunction(Function* function);

    // Runs until the end of the outermost code, exit, a fatal error or
    // cancellation. 1 for a normal end, 0 for a fatal error or a time-out.
    int Go();
    // Runs the start segment to its end in a fresh outermost frame, from
    // inside a running machine, and comes back to where it was.
    int Go_Recursive();
    // Loads the segment to run now; false after "Invalid segment reference".
    bool Set_Segment();

    // The variable of a name with an optional scope prefix, as the rules
    // of scopes give it; null (after a fatal error) when the name is bad.
    Variable* Lookup_Variable(const char* name, int length);
    // The same, reporting a bad name in *error and returning false; *out may
    // be null with true when nothing is found.
    bool Lookup_Variable(Variable** out, const char* name, int length, String* error);
    // The global of the name, created if needed.
    Variable* Lookup_Global(const char* name, int length);
    // Fills list with references, named without scope, to the variables of
    // a comma-separated list of names (the null variable for a missing one).
    void Lookup_VariableList(VariableList* list, const char* names, int length);

    // The language's comparison of two variables, or of one with an
    // integer: -1, 0 or 1.
    int Compare(Variable* left, Variable* right);
    int Compare(Variable* left, int right);

    void Heartbeat();
    void Push_Feature(Feature* feature);
    // Deletes feature and takes off the stack, undeleted, those above it.
    void Pop_Feature(Feature* feature);
    // The topmost feature of the ID, or null.
    Feature* Lookup_Feature(int id);
    // Ends the features that frame left open on top of the stack.
    void Cleanup_Function_Features(OxinVM_Frame* frame);

    // Ends the run with message, shown to the user.
    void FatalError(const String& message);
    void FatalError(const char* message);
    // A failure of a statement of tag: shown, fatal and stored in the tag's
    // variable as the machine's tag table says.
    void RuntimeError(int tag, const String& message);
    // The same, with the message's markup characters entity-encoded first.
    void EncodedRuntimeError(int tag, const String& message);
    // Unsets the error variable of tag.
    void ClearErrorVariable(int tag);

    // Calls a script function by name from inside an instruction, with
    // parameters pushed in list order; its value goes to result (or is
    // dropped). 1, or 0 for no such function, a wrong parameter count or a
    // fatal error.
    int RunFunction(const char* name, int length, VariableList* parameters, Variable* result);
    // Asks the script's Oxin_ValidateFileUpload(field, filename,
    // content_type) whether to take an uploaded file: *size gets its answer
    // (negative: skip; 0: no limit; else the most bytes kept), or -1 when the
    // script has no such function. False for a function of another
    // parameter count or a fatal error in it.
    bool ValidateFileUpload(const String& field, const String& filename, const String& content_type,
                            long* size);
    // Hands an uploaded file to Oxin_ProcessFileUpload(field, filename,
    // status, temporary_file, content_type, size); true when there is none.
    bool ProcessFileUpload(const String& field, const String& filename, const String& status,
                           const String& temporary, const String& content_type, long size);

    // Compiles expression (length -1: up to the NUL) into a new segment of
    // this machine; alias is the default database alias (may be null);
    // caller gives the functions of the calling file. Null with the reason
    // in *error (when given) on a mistake.
    Segment* Compile_Dynamic_Expression(const char* expression, int length, const char* alias,
                                        OxinVM* caller, String* error, const char* source,
                                        int source_length, int line);
    // Runs segment to its end in a frame of its own, on stack and with
    // locals (null: the current frame's), leaving the value on the stack.
    // Go's result.
    int Execute_Dynamic_Expression(Segment* segment, OxinVM_Stack* stack, VariableHash* locals);
    // The same, popping the value as a truth, a text (from new[]: delete it)
    // or a variable (holding a count).
    int Execute_Dynamic_Expression(Segment* segment, OxinVM_Stack* stack, VariableHash* locals,
                                   int* truth);
    int Execute_Dynamic_Expression(Segment* segment, OxinVM_Stack* stack, VariableHash* locals,
                                   char** text, int* length);
    int Execute_Dynamic_Expression(Segment* segment, OxinVM_Stack* stack, VariableHash* locals,
                                   Variable** variable);

    // Pops a statement's database alias and finds the database: the primary
    // one for an empty alias. 1 to go on; 0 after a pending fatal error or
    // the statement's run-time error.
    int GetDatabase(int tag, Database** result);
    // Pops a view name (above the alias) and finds the view: the database's
    // primary view for an empty name.
    int GetDatabaseView(int tag, Database** database, DatabaseView** view);
    // The databases open in this machine.
    OpenDatabases& databases();

    void System_Vars(VariableList* list);
    void Global_Vars(VariableList* list);
    void Local_Vars(VariableList* list);
    // After nested, a machine of another compiled file, ran on behalf of
    // this one with result (Go's): on success the output flags of this
    // frame come back; on a fatal end this machine ends too, with nested's
    // error (already shown there).
    void Finish_Nested_Run(const OxinVM* nested, int result);

    // The log (OxinVMLog.cc). Whether an event of kind is to be logged at
    // the present file and line: its bit is in the mask, then the
    // application's filter lets the place pass.
    bool Logging(unsigned kind);
    // Writes a record of kind: the script path (unless with_path is false),
    // the source file and the line, then extra.
    void Log_Record(unsigned kind, std::initializer_list<LogParameter> extra,
                    bool with_path = true);
    unsigned log_mask() const { return log_mask_; }

    // The state that a statement keeps for the request, in the top machine:
    // null until the statement sets it. The top machine owns it.
    StatementState* statement_state(StatementState::Slot slot) const {
        return top()->states_[slot].get();
    }
    void Set_Statement_State(StatementState::Slot slot, std::unique_ptr<StatementState> state) {
        top()->states_[slot] = std::move(state);
    }
    // The filter of OxIMPORT, whose statement lives above the runtime. The
    // statements layer sets import_filter_handler once at start; the loop
    // calls import_filter_resume at the end of a filter frame's code with
    // the truth of the filter's value, and it hands that to the handler.
    using FilterHandler = void (*)(OxinVM* vm, bool pass);
    static FilterHandler import_filter_handler;
    void import_filter_resume(bool pass);
    // Runs the code of segment filter in a filter frame over the current
    // frame, on its stack and locals. body and end are positions in the
    // current segment: where the statement's body is and where it ends.
    void Enter_Filter_Frame(int filter, int body_ip, int end_ip);
    // Removes the current filter frame and goes to its body position, or to
    // its end position when to_body is false. Does nothing outside a filter.
    void Leave_Filter_Frame(bool to_body);

    // The machine of the request's compiled file: this one, or the parent.
    OxinVM* top() const { return parent_ ? parent_ : const_cast<OxinVM*>(this); }

    OxinVM_Frame* Frame() const { return frame_; }
    OxinVM_Stack* stack() const { return stack_; }
    VariableHash* globalvar_hash() const { return global_; }
    VariableHash* systemvar_hash() const { return system_; }
    VariableHash* localvar_hash() const;
    ExternalCallManager* externalfunctions() const { return externalfunctions_; }
    ExternalDatabaseLibraryManager* externaldbmgr() const { return externaldbmgr_; }
    CommerceLibraryManager* commerce() const { return commerce_; }
    // The system libraries that this machine's libraries reach: a clone's
    // own copy, else the application's (may be null).
    SystemLibraryManager* systemlibraries() const;
    LocalizedDictionary* pieces() const { return pieces_; }
    LocalizedLanguages* LF() const { return languages_; }
    // The parameters bound for the next localized message.
    VariableHash* localization_parameters() const { return localization_parameters_; }
    OxinApplication* oxinapplication() const { return application_; }
    Dictionary* dictionary() const { return dictionary_; }
    FunctionManager* functions() const { return functions_; }
    SegmentManager* segments() const { return segments_; }
    OxinVM* parent() const { return parent_; }
    NULLVariable* nullvariable() const { return null_variable_; }
    const String& error() const { return error_; }
    const String& basescriptdir() const { return basescriptdir_; }
    const String& Current_Filename() const { return filename_; }
    int Current_LineNumber() const { return line_; }
    // The name of the current source file, from the dictionary; "" if none.
    const char* Current_SourceFile(int* length);
    bool fatal() const { return fatal_ != 0; }
    // The tag table of this machine.
    TagErrorSetting* tags() { return tags_; }

    int RefCount() const { return reference_count_; }
    void IncRefCount() { reference_count_++; }
    void DecRefCount() { reference_count_--; }

#ifdef OXIN_INSTRUCTION_BUDGET
    // Fuzz builds only: the instructions that the machines of the process
    // may still run. Past it, each machine stops as if the request had
    // timed out.
    static long instruction_budget;
    // Takes work that grows with an operand (bytes of text to make) from the
    // budget, 64 bytes for an instruction; false, with the run stopping,
    // when the budget cannot pay for it.
    bool Within_Budget(long bytes);
#else
    static constexpr bool Within_Budget(long) {
        return true;
    }
#endif

    // For the handlers of statement instructions: the operands of the
    // instruction being run, and a jump relative to its end (a target
    // outside the segment is a fatal error).
    int32_t operand1() const { return dword1_; }
    int32_t operand2() const { return dword2_; }
    void Jump(int32_t displacement) { jump(displacement); }

    // The position: the segment to run, the next instruction's offset.
    int segment = 0;
    int ip = 0;

  private:
    using NameAction = void (OxinVM::*)(const char*, int);

    // The poll before each instruction and its fetch (see Go).
    bool Next_Instruction(uint16_t* word, int* result);
    bool Poll(int* result);
    void End_Filter_Test();
    bool Load_Segment();
    // Ends a run begun in frame run: deletes it and every frame above it,
    // and goes back to the saved frame and position.
    void Leave_Run(OxinVM_Frame* run, OxinVM_Frame* saved_frame, int saved_segment, int saved_ip);
    // A plain frame whose locals are the globals, with a new stack, made
    // current at the start of the start segment.
    OxinVM_Frame* Enter_Outermost_Frame(int return_segment, int return_ip);
    // Moves the position to the entry point of function, or reports an
    // entry outside its segment.
    void Enter(const Function* function);
    bool Return(bool with_value);
    OxinVM_FunctionFrame* Take_Function_Frame(Function* function);
    void Recycle_Function_Frame(OxinVM_FunctionFrame* frame);
    // The records of a return from function; with_value when the value
    // returned is on top of stack.
    void Log_Return(const Function* function, OxinVM_Stack* stack, bool with_value);
    // The record of one parameter of function: (script path unless
    // external is false,) source file, line, function, parameter, value.
    void Log_Parameter(unsigned kind, const LogParameter& function,
                       const FunctionParameter* parameter, Variable* value, bool with_path);
    void SetOutputFlags(unsigned flags);
    String ErrorText(const char* kind, int tag);
    // The text of dictionary entry id; false after "Invalid dictionary
    // reference".
    bool Dictionary_Text(int id, const char** text, int* length);
    // Runs action on a name popped from the stack, or on the dictionary
    // entry of the first operand.
    void with_name(NameAction action);
    void with_dictionary_name(NameAction action);
    // The globals of the operands of a combined instruction.
    bool Globals(Variable** first, Variable** second);
    void jump_if(bool condition);
    // Moves the position by displacement inside the loaded segment; a
    // target outside it is the fatal error of a bad code address.
    void jump(int32_t displacement);
    // cat as the first half of "v = v . x": appends to v in place.
    bool append_in_place();

    // Instructions with more than a line of work, by their names.
    void exit_run();
    void pushc();
    void pushd();
    void pushdc();
    void pushn(const char* name, int length);
    void popn(const char* name, int length);
    void popd();
    void popdc();
    void poprg(VariableHash* hash);
    void poprn(const char* name, int length);
    void refer();
    void store();
    void elem(int create);
    void memb(int create);
    void div();
    void mod();
    void power();
    void shift(bool left);
    void search(bool ignore_case, bool end);
    void crypt();
    void rounds(bool as_text);
    void call();
    void out();
    void out_comp();
    void op_errmsg();
    void cmpgg();
    void cmpgi();
    void incg();
    void modgg();
    void storegi();
    void unavailable(uint16_t word);

    // The database statements (OxinVMDatabase.cc).
    void Database_Result(int tag, int succeeded, const String& error);
    void with_database(int tag, int (Database::*operation)());
    void with_view(int tag, int (DatabaseView::*operation)());
    std::unique_ptr<Database> New_Database(int tag, const PoppedText& type,
                                           const PoppedText& alias);
    std::unique_ptr<Database> New_ExternalDatabase(int tag, const String& type,
                                                   const PoppedText& alias);
    // Makes a database that opened (ready) the primary one; else raises its
    // error, and it goes.
    void Keep_Database(int tag, std::unique_ptr<Database> database, int ready);
    // The field of a view by their names, or null.
    Variable* Field(const char* view, int view_length, const char* field, int field_length);
    void dbopen(int with_third_connection);
    void dbcreate();
    void dbclose();
    void dbskip();
    void dbgo();
    void dbfind();
    void dbadd();
    void dbupdate();
    void dbdelete();
    void dbundelete();
    void dbfilter();
    void dbprimary();
    void dbsetindex();
    void dbmakeindex();
    void dbpack();
    void dbreindex();
    void dbrevealstructuredb();
    void dbrevealstructureagg();
    void dbopenview();
    void dbcloseview();
    void dbquery();
    void dbcommit();
    void dbrollback();
    void dbtransaction();
    void dbcommand();
    void statement(uint16_t word);

    int reference_count_ = 0;
    String error_;
    int line_ = 0;
    int last_line_traced_ = 0;
    int source_file_ = -1;
    String filename_;
    String basescriptdir_;
    String error_prefix_;
    TagErrorSetting tags_[kTagRows];

    // Operands of the instruction being run.
    int32_t dword1_ = 0;
    int32_t dword2_ = 0;
    double double1_ = 0;
    double double2_ = 0;

    const Segment* segment_pointer_ = nullptr;
    const unsigned char* code_ = nullptr;
    int code_length_ = 0;
    OxinVM_Frame* frame_ = nullptr;
    OxinVM_Stack* stack_ = nullptr;
    int loaded_segment_ = -1;
    int instruction_start_ = 0;

    int fatal_ = 0;
    unsigned log_mask_ = 0;
    std::atomic<unsigned>* heartbeat_count_;
    std::atomic<int>* cancelled_flag_;
    unsigned last_heartbeat_ = 0;
    std::atomic<int>* finished_flag_;

    OxinApplication* application_;
    Dictionary* dictionary_;
    VariableHash* system_;
    VariableHash* global_;
    SegmentManager* segments_;
    FunctionManager* functions_;
    ExternalCallManager* externalfunctions_;
    CommerceLibraryManager* commerce_;
    ExternalDatabaseLibraryManager* externaldbmgr_;
    LocalizedLanguages* languages_;
    LocalizedDictionary* pieces_;
    Stack<Feature> features_{0};
    VariableHash* localization_parameters_;
    NULLVariable* null_variable_;
    // The top machine of the request, for the machine of a file reached by
    // OxDO; null in the top machine itself. It owns the statements' state
    // (the OxDO contexts among it), and so outlives every machine that
    // names it.
    OxinVM* parent_;
    std::unique_ptr<StatementState> states_[StatementState::kSlots];
    std::unique_ptr<OpenDatabases> databases_;

    // A clone for a task: its own copies of the stores, which outlive
    // everything above.
    OxinVM(std::unique_ptr<ClonedStores> stores, OxinApplication* application, OxinVM& source,
           std::atomic<unsigned>* heartbeat_count, std::atomic<int>* cancelled_flag,
           std::atomic<int>* finished_flag);
    void Clone_Frame(const OxinVM& source);
    std::unique_ptr<ClonedStores> stores_;
    // Frames of returned function calls, with their empty stacks, for the
    // next calls.
    std::vector<std::unique_ptr<OxinVM_FunctionFrame>> spare_frames_;
};
