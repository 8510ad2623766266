#include "runtime/OxinVM.h"

#include <cassert>
#include <climits>
#include <csignal>
#include <cstring>

#include "application/Config.h"
#include "application/Output.h"
#include "application/OxinApplication.h"
#include "base/LittleEndian.h"
#include "files/Dictionary.h"
#include "runtime/ClonedStores.h"
#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "runtime/Instructions.h"
#include "runtime/OxinVM_Frame.h"
#include "runtime/OxinVM_Stack.h"
#include "runtime/Segment.h"
#include "runtime/SegmentManager.h"
#include "runtime/OpenDatabases.h"
#include "runtime/StatementTable.h"
#include "variables/NULLVariable.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"
#include "variables/VariableList.h"

namespace {

// Instruction numbers are sparse 16-bit words; the loop switches over a
// dense renumbering so that the dispatch is one indexed jump.
enum DenseInstruction : uint8_t {
    kIllegal,
#define OXIN_DENSE(enumerator, number, mnemonic, name, listing) k_##enumerator,
    OXIN_INSTRUCTION_LIST(OXIN_DENSE)
#undef OXIN_DENSE
    kDenseCount
};

struct DenseTable {
    uint8_t of[65536] = {};
    constexpr DenseTable() {
#define OXIN_DENSE(enumerator, number, mnemonic, name, listing) of[number] = k_##enumerator;
        OXIN_INSTRUCTION_LIST(OXIN_DENSE)
#undef OXIN_DENSE
    }
};
// Made by the compiler: read-only data, of which a run touches only the
// pages of the numbers it meets.
constexpr DenseTable dense;

[[gnu::always_inline]] inline int32_t read_dword(const unsigned char* p) {
    return static_cast<int32_t>(get_u32(p));
}

}  // namespace

OxinVM::OxinVM(const char* path, int path_length, OxinApplication* application,
               Dictionary* dictionary, VariableHash* system, VariableHash* global,
               SegmentManager* segments, FunctionManager* functions,
               ExternalCallManager* externalfunctions, CommerceLibraryManager* commerce,
               ExternalDatabaseLibraryManager* externaldbmgr, LocalizedLanguages* languages,
               LocalizedDictionary* pieces, std::atomic<unsigned>* heartbeat_count,
               std::atomic<int>* cancelled_flag, std::atomic<int>* finished_flag, OxinVM* parent)
    : filename_(path, path_length),
      heartbeat_count_(heartbeat_count),
      cancelled_flag_(cancelled_flag),
      finished_flag_(finished_flag),
      application_(application),
      dictionary_(dictionary),
      system_(system),
      global_(global),
      segments_(segments),
      functions_(functions),
      externalfunctions_(externalfunctions),
      commerce_(commerce),
      externaldbmgr_(externaldbmgr),
      languages_(languages),
      pieces_(pieces),
      localization_parameters_(new VariableHash(dictionary, 12, 512)),
      null_variable_(new NULLVariable()),
      parent_(parent),
      databases_(std::make_unique<OpenDatabases>()) {
    assert(!parent_ || !parent_->parent_);  // a child's parent is the top machine
    if (parent_) {
        if (!heartbeat_count_) heartbeat_count_ = parent_->heartbeat_count_;
        if (!cancelled_flag_) cancelled_flag_ = parent_->cancelled_flag_;
        if (!finished_flag_) finished_flag_ = parent_->finished_flag_;
        parent_->IncRefCount();
    }
    if (!heartbeat_count_) heartbeat_count_ = &application->heartbeat_count;
    if (!cancelled_flag_) cancelled_flag_ = &application->cancelled_flag;
    if (!finished_flag_) finished_flag_ = &application->finished_flag;
    last_heartbeat_ = *heartbeat_count_;
    memcpy(tags_, tag_default_errorsettings, sizeof tags_);

    int base = filename_.length();
    while (base > 0 && filename_.text()[base - 1] != '/')
        base--;
    basescriptdir_ = String(filename_.c_str(), base);

    Config* config = application->config();
    log_mask_ = config ? static_cast<unsigned>(config->value_integer(kConfigLogLevel)) : 0;
    if (dictionary_->flags() & 1) log_mask_ = 0;

    Enter_Outermost_Frame(-1, -1);
}

OxinVM_Frame* OxinVM::Enter_Outermost_Frame(int return_segment, int return_ip) {
    auto* frame = new OxinVM_Frame(return_segment, return_ip, nullptr);
    frame->Set_LocalVariable_Hash(global_, false);
    frame->Set_Stack(new OxinVM_Stack(this, kStackSize), true);
    frame_ = frame;
    stack_ = frame->stack();
    segment = segments_->start();
    ip = 0;
    return frame;
}

OxinVM::~OxinVM() {
    databases_->Delete_All();
    while (frame_) {
        OxinVM_Frame* previous = frame_->previous;
        delete frame_;
        frame_ = previous;
    }
    while (Feature* feature = features_.Top()) {
        features_.Pop();
        delete feature;
    }
    null_variable_->DecRefCount();
    delete localization_parameters_;
    if (parent_) {
        parent_->DecRefCount();
        return;
    }
    // The statements' state goes last, latest slot first: the machines of
    // OxDO contexts name this one as their parent until they are gone.
    for (int slot = StatementState::kSlots; slot-- > 0;)
        states_[slot].reset();
    assert(reference_count_ == 0);
}

VariableHash* OxinVM::localvar_hash() const {
    return frame_->locals();
}

bool OxinVM::Load_Segment() {
    const Segment* loaded = segments_->Segment_Get(segment);
    if (!loaded) {
        FatalError(kInvalidSegmentText);
        return false;
    }
    segment_pointer_ = loaded;
    code_ = loaded->Code();
    code_length_ = loaded->Code_Length();
    loaded_segment_ = segment;
    return true;
}

bool OxinVM::Set_Segment() {
    return segment == loaded_segment_ || Load_Segment();
}

void OxinVM::Heartbeat() {
    last_heartbeat_ = *heartbeat_count_;
    if (parent_) parent_->Heartbeat();
    for (Feature* feature = features_.Top(); feature; feature = features_.Peek())
        feature->Heartbeat();
}

#ifdef OXIN_INSTRUCTION_BUDGET
long OxinVM::instruction_budget = 0;

bool OxinVM::Within_Budget(long bytes) {
    instruction_budget -= bytes / 64;
    if (instruction_budget >= 0) return true;
    *cancelled_flag_ = 1;
    return false;
}
#endif

// The combined instructions on globals, resolved as by pushg. Inlined into
// the loop, as they are what counting loops are made of.
inline __attribute__((always_inline)) bool OxinVM::Globals(Variable** first, Variable** second) {
    *first = global_->Index_Made(dword1_);
    if (second) *second = global_->Index_Made(dword2_);
    if (*first && (!second || *second)) return true;
    FatalError("Invalid variable reference");
    return false;
}

inline __attribute__((always_inline)) void OxinVM::cmpgg() {
    Variable *left, *right;
    if (Globals(&left, &right)) stack_->PushI(Compare(left, right));
}

inline __attribute__((always_inline)) void OxinVM::cmpgi() {
    Variable* left;
    if (!Globals(&left, nullptr)) return;
    if (left->Fast_Comparable()) {
        int error;
        double number = left->Fast_Compare(&error);
        stack_->PushI(OxinVM_Stack::CompareNumbers(number, dword2_));
    } else {
        stack_->PushI(Compare(left, dword2_));
    }
}

inline __attribute__((always_inline)) void OxinVM::incg() {
    Variable* variable;
    if (Globals(&variable, nullptr))
        variable->Fast_SetInteger(static_cast<int>(
            static_cast<uint32_t>(variable->Fast_Integer()) + static_cast<uint32_t>(dword2_)));
}

inline __attribute__((always_inline)) void OxinVM::modgg() {
    Variable *left, *right;
    if (!Globals(&left, &right)) return;
    int dividend = left->Fast_Integer(), divisor = right->Fast_Integer();
    // No test of the divisor: a zero divisor is the processor's divide fault,
    // which the host handles as any other fault of the process.
    if (divisor == 0 || (divisor == -1 && dividend == INT_MIN)) {
#ifdef OXIN_INSTRUCTION_BUDGET
        // Fuzz builds end the run instead: the fault is the design, not a
        // finding.
        *cancelled_flag_ = 1;
        return;
#endif
        raise(SIGFPE);
    }
    stack_->PushI(dividend % divisor);
}

inline __attribute__((always_inline)) void OxinVM::storegi() {
    Variable* variable;
    if (Globals(&variable, nullptr)) variable->Fast_SetInteger(dword2_);
}

// The poll that precedes every instruction, in its order: a cancelled run
// ends as timed out, a new heartbeat reaches the features, a fatal error
// or a finished run ends the loop, and a change of segment loads the new
// one. Then the end of the code (which ends the run, or gives a filter's
// test its value), and the fetch of the next instruction with its
// operands. False ends the run with *result.
inline __attribute__((always_inline)) bool OxinVM::Next_Instruction(uint16_t* word, int* result) {
    for (;;) {
#ifdef OXIN_INSTRUCTION_BUDGET
        if (--instruction_budget < 0) *cancelled_flag_ = 1;
#endif
        // All quiet is the common case: one test instead of five.
        bool quiet = !(*cancelled_flag_ | fatal_ | *finished_flag_) &&
                     *heartbeat_count_ == last_heartbeat_ && segment == loaded_segment_;
        if (!quiet && !Poll(result)) return false;
        assert(ip >= 0);  // every move of the position stays in its segment
        instruction_start_ = ip;
        if (ip >= code_length_ - 1) {
            if (frame_->type() != 2) {
                *result = 1;
                return false;
            }
            End_Filter_Test();
            continue;
        }
        const unsigned char* at = code_ + ip;
        *word = static_cast<uint16_t>(at[0] | at[1] << 8);
        at += 2;
        switch (*word & 0xC000) {
            case 0x4000:
                dword1_ = read_dword(at);
                at += 4;
                break;
            case 0x8000:
                double1_ = get_double(at);
                at += 8;
                break;
        }
        switch (*word & 0x3000) {
            case 0x1000:
                dword2_ = read_dword(at);
                at += 4;
                break;
            case 0x2000:
                double2_ = get_double(at);
                at += 8;
                break;
        }
        ip = static_cast<int>(at - code_);
        return true;
    }
}

bool OxinVM::Poll(int* result) {
    *result = 0;
    if (*cancelled_flag_) {
        if (fatal_) return false;
        fatal_ = 1;
        application_->Error(String("Application timed out"));
        if (Logging(kLogTimedOut)) Log_Record(kLogTimedOut, {});
        return false;
    }
    if (*heartbeat_count_ != last_heartbeat_) Heartbeat();
    if (fatal_) return false;
    if (*finished_flag_) {
        *result = 1;
        return false;
    }
    return segment == loaded_segment_ || Load_Segment();
}

// The end of a filter frame's code: the value on the stack is the test's.
void OxinVM::End_Filter_Test() {
    auto* filter = static_cast<OxinVM_FilterFrame*>(frame_);
    OxinVM_FilterFrame::Callback resume = filter->callback;
    bool pass = stack_->PopBool();
    (this->*resume)(pass);
}

void OxinVM::exit_run() {
    ip = code_length_;
    *finished_flag_ = 1;
}

// The loop: one flat dispatch over the instructions, each case short, the
// work of the longer ones in the helpers of the same names.
//
// Built with OXIN_SWITCH_DISPATCH it is a plain switch. Otherwise each
// instruction ends by fetching the next and jumping straight to its
// handler (threaded dispatch), so that the processor predicts every
// instruction's jump apart. The table of handlers starts with every entry
// at the switch; the switch's case of an instruction records its handler
// in the table on the way in, so that the switch is met once per
// instruction and each case is written once for both builds.
#ifdef OXIN_SWITCH_DISPATCH
#define OXIN_RECORD(dense_number, label)
#define OXIN_CASE(name) case k_##name:
#define OXIN_CASE_DENSE(number) case number:
#define OXIN_NEXT continue
#else
#define OXIN_RECORD(dense_number, label) \
    handlers[dense_number].store(&&label, std::memory_order_relaxed); \
    label:
#define OXIN_CASE(name) \
    case k_##name:      \
        OXIN_RECORD(k_##name, L_##name)
#define OXIN_CASE_DENSE(number) \
    case number:                \
        OXIN_RECORD(number, L_##number)
#define OXIN_NEXT                                                            \
    do {                                                                     \
        if (!Next_Instruction(&word, &result)) return result;                \
        goto* handlers[dense.of[word]].load(std::memory_order_relaxed);       \
    } while (0)
#endif

int OxinVM::Go() {
    uint16_t word = 0;
    int result = 0;
#ifndef OXIN_SWITCH_DISPATCH
    static std::atomic<void*> handlers[kDenseCount];
    static const bool handlers_ready = ({
        for (std::atomic<void*>& handler : handlers)
            handler.store(&&L_switch, std::memory_order_relaxed);
        true;
    });
    (void)handlers_ready;
#endif
    for (;;) {
        if (!Next_Instruction(&word, &result)) return result;
#ifndef OXIN_SWITCH_DISPATCH
    L_switch:
#endif
        switch (dense.of[word]) {
        OXIN_CASE(Op_noop)
            OXIN_NEXT;
        OXIN_CASE(Op_pushc)
            pushc();
            OXIN_NEXT;
        OXIN_CASE(Op_pushi)
            stack_->PushI(dword1_);
            OXIN_NEXT;
        OXIN_CASE(Op_pushf)
            stack_->PushD(double1_);
            OXIN_NEXT;
        OXIN_CASE(Op_pushs) {
            Variable* variable = system_->Index(dword1_, 0);
            stack_->PushV(variable ? variable : null_variable_, 1, 1);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_pushg)
            stack_->PushV(global_->Index_Made(dword1_), 1, 1);
            OXIN_NEXT;
        OXIN_CASE(Op_pushl)
            stack_->PushV(frame_->locals()->Index_Made(dword1_), 1, 1);
            OXIN_NEXT;
        OXIN_CASE(Op_pushd)
            pushd();
            OXIN_NEXT;
        OXIN_CASE(Op_pushdc)
            pushdc();
            OXIN_NEXT;
        OXIN_CASE(Op_pushn)
            with_name(&OxinVM::pushn);
            OXIN_NEXT;
        OXIN_CASE(Op_pushnc)
            with_dictionary_name(&OxinVM::pushn);
            OXIN_NEXT;
        OXIN_CASE(Op_pop)
            stack_->Pop();
            OXIN_NEXT;
        OXIN_CASE(Op_pops) {
            Variable* variable = system_->Index(dword1_, 0);
            if (variable) {
                stack_->PopV(variable);
            } else {
                stack_->Pop();
            }
            OXIN_NEXT;
        }
        OXIN_CASE(Op_popg)
            stack_->PopV(global_->Index_Made(dword1_));
            OXIN_NEXT;
        OXIN_CASE(Op_popl)
            stack_->PopV(frame_->locals()->Index_Made(dword1_));
            OXIN_NEXT;
        OXIN_CASE(Op_popd)
            popd();
            OXIN_NEXT;
        OXIN_CASE(Op_popdc)
            popdc();
            OXIN_NEXT;
        OXIN_CASE(Op_popn)
            with_name(&OxinVM::popn);
            OXIN_NEXT;
        OXIN_CASE(Op_popnc)
            with_dictionary_name(&OxinVM::popn);
            OXIN_NEXT;
        OXIN_CASE(Op_poprg)
            poprg(global_);
            OXIN_NEXT;
        OXIN_CASE(Op_poprl)
            poprg(frame_->locals());
            OXIN_NEXT;
        OXIN_CASE(Op_poprn)
            with_name(&OxinVM::poprn);
            OXIN_NEXT;
        OXIN_CASE(Op_poprnc)
            with_dictionary_name(&OxinVM::poprn);
            OXIN_NEXT;
        OXIN_CASE(Op_refer)
            refer();
            OXIN_NEXT;
        OXIN_CASE(Op_store)
            store();
            OXIN_NEXT;
        OXIN_CASE(Op_spush)
            system_->Push();
            OXIN_NEXT;
        OXIN_CASE(Op_spop)
            if (!system_->Pop()) FatalError("System variable stack underflow");
            OXIN_NEXT;
        OXIN_CASE(Op_elem)
            elem(1);
            OXIN_NEXT;
        OXIN_CASE(Op_elem_readonly)
            elem(0);
            OXIN_NEXT;
        OXIN_CASE(Op_memb)
            memb(1);
            OXIN_NEXT;
        OXIN_CASE(Op_memb_readonly)
            memb(0);
            OXIN_NEXT;
        OXIN_CASE(Op_add) {
            double right = stack_->PopD(), left = stack_->PopD();
            if (!fatal_) stack_->PushD(left + right);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_sub) {
            double right = stack_->PopD(), left = stack_->PopD();
            if (!fatal_) stack_->PushD(left - right);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_mul) {
            double right = stack_->PopD(), left = stack_->PopD();
            if (!fatal_) stack_->PushD(left * right);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_div)
            div();
            OXIN_NEXT;
        OXIN_CASE(Op_mod)
            mod();
            OXIN_NEXT;
        OXIN_CASE(Op_pow)
            power();
            OXIN_NEXT;
        OXIN_CASE(Op_cat)
            if (!append_in_place()) stack_->Concatenate();
            OXIN_NEXT;
        OXIN_CASE(Op_bitand) {
            int right = stack_->PopI(), left = stack_->PopI();
            if (!fatal_) stack_->PushI(left & right);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_bitor) {
            int right = stack_->PopI(), left = stack_->PopI();
            if (!fatal_) stack_->PushI(left | right);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_bitxor) {
            int right = stack_->PopI(), left = stack_->PopI();
            if (!fatal_) stack_->PushI(left ^ right);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_bitoc) {
            int value = stack_->PopI();
            if (!fatal_) stack_->PushI(~value);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_bitsl)
            shift(true);
            OXIN_NEXT;
        OXIN_CASE(Op_bitsr)
            shift(false);
            OXIN_NEXT;
        OXIN_CASE(Op_rounds)
            rounds(true);
            OXIN_NEXT;
        OXIN_CASE(Op_roundf)
            rounds(false);
            OXIN_NEXT;
        OXIN_CASE(Op_crypt)
            crypt();
            OXIN_NEXT;
        OXIN_CASE(Op_cmp) {
            int order = stack_->Compare();
            if (!fatal_) stack_->PushI(order);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_and) {
            bool right = stack_->PopBool(), left = stack_->PopBool();
            if (!fatal_) stack_->PushI(left && right);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_or) {
            bool right = stack_->PopBool(), left = stack_->PopBool();
            if (!fatal_) stack_->PushI(left || right);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_in)
            search(false, false);
            OXIN_NEXT;
        OXIN_CASE(Op_cin)
            search(true, false);
            OXIN_NEXT;
        OXIN_CASE(Op_ein)
            search(false, true);
            OXIN_NEXT;
        OXIN_CASE(Op_ecin)
            search(true, true);
            OXIN_NEXT;
        OXIN_CASE(Op_eq) {
            int order = stack_->Compare();
            if (!fatal_) stack_->PushI(order == 0);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_ne) {
            int order = stack_->Compare();
            if (!fatal_) stack_->PushI(order != 0);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_ge) {
            int order = stack_->Compare();
            if (!fatal_) stack_->PushI(order >= 0);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_le) {
            int order = stack_->Compare();
            if (!fatal_) stack_->PushI(order <= 0);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_lt) {
            int order = stack_->Compare();
            if (!fatal_) stack_->PushI(order < 0);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_gt) {
            int order = stack_->Compare();
            if (!fatal_) stack_->PushI(order > 0);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_not) {
            bool value = stack_->PopBool();
            if (!fatal_) stack_->PushI(!value);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_dup)
            stack_->Dupe();
            OXIN_NEXT;
        OXIN_CASE(Op_isnull) {
            bool null = stack_->PopNull();
            if (!fatal_) stack_->PushI(null);
            OXIN_NEXT;
        }
        OXIN_CASE(Op_swap)
            stack_->Swap(0, 1);
            OXIN_NEXT;
        OXIN_CASE(Op_swapn)
            stack_->Swap(dword1_, dword2_);
            OXIN_NEXT;
        OXIN_CASE(Op_cmpgg)
            cmpgg();
            OXIN_NEXT;
        OXIN_CASE(Op_cmpgi)
            cmpgi();
            OXIN_NEXT;
        OXIN_CASE(Op_incg)
            incg();
            OXIN_NEXT;
        OXIN_CASE(Op_modgg)
            modgg();
            OXIN_NEXT;
        OXIN_CASE(Op_storegi)
            storegi();
            OXIN_NEXT;
        OXIN_CASE(Op_jmp)
            jump(dword1_);
            OXIN_NEXT;
        OXIN_CASE(Op_jmp_eq)
            jump_if(stack_->PopI() == 0);
            OXIN_NEXT;
        OXIN_CASE(Op_jmp_lt)
            jump_if(stack_->PopI() < 0);
            OXIN_NEXT;
        OXIN_CASE(Op_jmp_gt)
            jump_if(stack_->PopI() > 0);
            OXIN_NEXT;
        OXIN_CASE(Op_jmp_le)
            jump_if(stack_->PopI() <= 0);
            OXIN_NEXT;
        OXIN_CASE(Op_jmp_ge)
            jump_if(stack_->PopI() >= 0);
            OXIN_NEXT;
        OXIN_CASE(Op_jmp_ne)
            jump_if(stack_->PopI() != 0);
            OXIN_NEXT;
        OXIN_CASE(Op_call)
            call();
            OXIN_NEXT;
        OXIN_CASE(Op_ret)
            Return(true);
            OXIN_NEXT;
        OXIN_CASE(Op_retn)
            Return(false);
            OXIN_NEXT;
        OXIN_CASE(Op_exit)
            exit_run();
            OXIN_NEXT;
        OXIN_CASE(Op_exit_alt)
            exit_run();
            OXIN_NEXT;
        OXIN_CASE(Op_out)
            out();
            OXIN_NEXT;
        OXIN_CASE(Op_out_comp)
            out_comp();
            OXIN_NEXT;
        OXIN_CASE(Op_lineno)
            line_ = dword1_;
            if ((log_mask_ & kLogTrace) && line_ != last_line_traced_) {
                last_line_traced_ = line_;
                if (Logging(kLogTrace)) Log_Record(kLogTrace, {});
            }
            OXIN_NEXT;
        OXIN_CASE(Op_sourcefile)
            if (dword1_ != source_file_) last_line_traced_ = 0;
            source_file_ = dword1_;
            OXIN_NEXT;
        OXIN_CASE(Op_erroutput)
            frame_->error_flags = static_cast<unsigned>(dword1_);
            OXIN_NEXT;
        OXIN_CASE(Op_stdoutput)
            frame_->output_flags = static_cast<unsigned>(dword1_);
            SetOutputFlags(frame_->output_flags);
            OXIN_NEXT;
        OXIN_CASE(Op_tagerror)
            if (dword1_ >= 0 && dword1_ < kTagRows) tags_[dword1_].flags = dword2_;
            OXIN_NEXT;
        OXIN_CASE(Op_op_errmsg)
            op_errmsg();
            OXIN_NEXT;
        OXIN_CASE(Op_dbopen)
            dbopen(0);
            OXIN_NEXT;
        OXIN_CASE(Op_dbopen1)
            dbopen(1);
            OXIN_NEXT;
        OXIN_CASE(Op_dbcreate)
            dbcreate();
            OXIN_NEXT;
        OXIN_CASE(Op_dbclose)
            dbclose();
            OXIN_NEXT;
        OXIN_CASE(Op_dbskip)
            dbskip();
            OXIN_NEXT;
        OXIN_CASE(Op_dbgo)
            dbgo();
            OXIN_NEXT;
        OXIN_CASE(Op_dbfind)
            dbfind();
            OXIN_NEXT;
        OXIN_CASE(Op_dbadd)
            dbadd();
            OXIN_NEXT;
        OXIN_CASE(Op_dbupdate)
            dbupdate();
            OXIN_NEXT;
        OXIN_CASE(Op_dbdelete)
            dbdelete();
            OXIN_NEXT;
        OXIN_CASE(Op_dbundelete)
            dbundelete();
            OXIN_NEXT;
        OXIN_CASE(Op_dbfilter)
            dbfilter();
            OXIN_NEXT;
        OXIN_CASE(Op_dbprimary)
            dbprimary();
            OXIN_NEXT;
        OXIN_CASE(Op_dbsetindex)
            dbsetindex();
            OXIN_NEXT;
        OXIN_CASE(Op_dbmakeindex)
            dbmakeindex();
            OXIN_NEXT;
        OXIN_CASE(Op_dbpack)
            dbpack();
            OXIN_NEXT;
        OXIN_CASE(Op_dbreindex)
            dbreindex();
            OXIN_NEXT;
        OXIN_CASE(Op_dbrevealstructuredb)
            dbrevealstructuredb();
            OXIN_NEXT;
        OXIN_CASE(Op_dbrevealstructureagg)
            dbrevealstructureagg();
            OXIN_NEXT;
        OXIN_CASE(Op_dbopenview)
            dbopenview();
            OXIN_NEXT;
        OXIN_CASE(Op_dbcloseview)
            dbcloseview();
            OXIN_NEXT;
        OXIN_CASE(Op_dbquery)
            dbquery();
            OXIN_NEXT;
        OXIN_CASE(Op_dbcommit)
            dbcommit();
            OXIN_NEXT;
        OXIN_CASE(Op_dbrollback)
            dbrollback();
            OXIN_NEXT;
        OXIN_CASE(Op_dbtransaction)
            dbtransaction();
            OXIN_NEXT;
        OXIN_CASE(Op_dbcommand)
            dbcommand();
            OXIN_NEXT;
        OXIN_CASE_DENSE(kIllegal)
            FatalError("Illegal Instruction");
            OXIN_NEXT;
        default:
            OXIN_RECORD(dense.of[word], L_statement)
            statement(word);
            OXIN_NEXT;

        }
    }
}

#undef OXIN_RECORD
#undef OXIN_CASE
#undef OXIN_CASE_DENSE
#undef OXIN_NEXT

// An instruction of a statement above the runtime, run by the handler that
// its layer registered.
void OxinVM::statement(uint16_t word) {
    if (StatementHandler handler = StatementTable::Find(word)) {
        handler(this);
    } else {
        unavailable(word);
    }
}

void OxinVM::Finish_Nested_Run(const OxinVM* nested, int result) {
    if (result) {
        SetOutputFlags(frame_->output_flags);
        last_line_traced_ = 0;
        return;
    }
    error_ = nested->error();
    fatal_ = 1;
}

void OxinVM::jump_if(bool condition) {
    if (condition && !fatal_) jump(dword1_);
}

// A jump counts from the end of its instruction and may land anywhere from
// the start of the segment to its end; computed wide, so that no
// displacement overflows the offset.
void OxinVM::jump(int32_t displacement) {
    int64_t target = static_cast<int64_t>(ip) + displacement;
    if (target < 0 || target > code_length_) {
        FatalError(kInvalidSegmentText);
        return;
    }
    ip = static_cast<int>(target);
}
