#pragma once

class Function;
class OxinVM;
class OxinVM_Stack;
class VariableHash;

// One level of calls: the position to return to, the local variables, the
// evaluation stack, and the error and output flags in force while it runs.
// An outermost frame has no previous frame and returns nowhere (segment and
// ip -1).
class OxinVM_Frame {
  public:
    OxinVM_Frame(int segment, int ip, OxinVM_Frame* previous)
        : segment(segment), ip(ip), previous(previous) {}
    OxinVM_Frame(const OxinVM_Frame&) = delete;
    OxinVM_Frame& operator=(const OxinVM_Frame&) = delete;
    // Deletes the hash and the stack where owned.
    virtual ~OxinVM_Frame();

    // 0 plain, 1 function, 2 filter.
    virtual int type() { return 0; }
    // Replaces the local hash, deleting an owned old one.
    virtual void Set_LocalVariable_Hash(VariableHash* hash, bool owned);
    // Replaces the stack, deleting an owned old one.
    virtual void Set_Stack(OxinVM_Stack* stack, bool owned);

    VariableHash* locals() const { return locals_; }
    OxinVM_Stack* stack() const { return stack_; }
    // Hands over the hash that the frame owns, or null where it owns none;
    // the frame no longer points at it.
    VariableHash* Release_Locals();

    int segment;
    int ip;
    unsigned error_flags = 7;  // value 4: runtime errors reach the application
    unsigned output_flags = 0;
    OxinVM_Frame* previous;

  private:
    VariableHash* locals_ = nullptr;
    bool locals_owned_ = false;
    OxinVM_Stack* stack_ = nullptr;
    bool stack_owned_ = false;
};

// The frame of a script function's call.
class OxinVM_FunctionFrame : public OxinVM_Frame {
  public:
    OxinVM_FunctionFrame(Function* function, int segment, int ip, OxinVM_Frame* previous)
        : OxinVM_Frame(segment, ip, previous), function(function) {}
    int type() override { return 1; }

    Function* function;
    // The hash came from the function's spares and the stack from the
    // machine's, and go back there on return.
    bool pooled = false;
};

// A frame whose code is a test run once per record: at the end of its code
// the machine calls callback with the truth of the value left on the stack.
// segment and ip hold where the statement's body is; end_segment and end_ip
// where the statement ends.
class OxinVM_FilterFrame : public OxinVM_Frame {
  public:
    using Callback = void (OxinVM::*)(bool);
    OxinVM_FilterFrame(Callback callback, int segment, int ip, int end_segment, int end_ip,
                       OxinVM_Frame* previous)
        : OxinVM_Frame(segment, ip, previous),
          callback(callback),
          end_segment(end_segment),
          end_ip(end_ip) {}
    int type() override { return 2; }

    Callback callback;
    int end_segment;
    int end_ip;
};
