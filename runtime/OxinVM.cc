#include "runtime/OxinVM.h"

#include <cassert>
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
};

struct DenseTable {
    uint8_t of[65536] = {};
    DenseTable() {
#define OXIN_DENSE(enumerator, number, mnemonic, name, listing) of[number] = k_##enumerator;
        OXIN_INSTRUCTION_LIST(OXIN_DENSE)
#undef OXIN_DENSE
    }
};
const DenseTable dense;

inline int32_t read_dword(const unsigned char* p) {
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

int OxinVM::Go() {
    for (;;) {
#ifdef OXIN_INSTRUCTION_BUDGET
        if (--instruction_budget < 0) *cancelled_flag_ = 1;
#endif
        if (*cancelled_flag_) {
            if (fatal_) return 0;
            fatal_ = 1;
            application_->Error(String("Application timed out"));
            if (Logging(kLogTimedOut)) Log_Record(kLogTimedOut, {});
            return 0;
        }
        if (*heartbeat_count_ != last_heartbeat_) Heartbeat();
        if (fatal_) return 0;
        if (*finished_flag_) return 1;
        if (segment != loaded_segment_ && !Load_Segment()) return 0;
        assert(ip >= 0);  // every move of the position stays in its segment
        instruction_start_ = ip;
        if (ip >= code_length_ - 1) {
            if (frame_->type() != 2) return 1;
            auto* filter = static_cast<OxinVM_FilterFrame*>(frame_);
            OxinVM_FilterFrame::Callback resume = filter->callback;
            bool pass = stack_->PopBool();
            (this->*resume)(pass);
            continue;
        }
        const unsigned char* at = code_ + ip;
        uint16_t word = static_cast<uint16_t>(at[0] | at[1] << 8);
        at += 2;
        switch (word & 0xC000) {
            case 0x4000:
                dword1_ = read_dword(at);
                at += 4;
                break;
            case 0x8000:
                double1_ = get_double(at);
                at += 8;
                break;
        }
        switch (word & 0x3000) {
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
        Execute(word);
    }
}

// One instruction whose operands are decoded. Each case is short; the work
// of the longer ones is in the helpers of the same names. Forced inline: it
// is the body of the loop of Go, kept apart only to be read.
inline __attribute__((always_inline)) void OxinVM::Execute(uint16_t word) {
    OxinVM_Stack* s = stack_;
    switch (dense.of[word]) {
        case k_Op_noop:
            break;
        case k_Op_pushc:
            pushc();
            break;
        case k_Op_pushi:
            s->PushI(dword1_);
            break;
        case k_Op_pushf:
            s->PushD(double1_);
            break;
        case k_Op_pushs: {
            Variable* variable = system_->Index(dword1_, 0);
            s->PushV(variable ? variable : null_variable_, 1, 1);
            break;
        }
        case k_Op_pushg:
            s->PushV(global_->Index(dword1_, 1), 1, 1);
            break;
        case k_Op_pushl:
            s->PushV(frame_->locals()->Index(dword1_, 1), 1, 1);
            break;
        case k_Op_pushd:
            pushd();
            break;
        case k_Op_pushdc:
            pushdc();
            break;
        case k_Op_pushn:
            with_name(&OxinVM::pushn);
            break;
        case k_Op_pushnc:
            with_dictionary_name(&OxinVM::pushn);
            break;
        case k_Op_pop:
            s->Pop();
            break;
        case k_Op_pops: {
            Variable* variable = system_->Index(dword1_, 0);
            if (variable) {
                s->PopV(variable);
            } else {
                s->Pop();
            }
            break;
        }
        case k_Op_popg:
            s->PopV(global_->Index(dword1_, 1));
            break;
        case k_Op_popl:
            s->PopV(frame_->locals()->Index(dword1_, 1));
            break;
        case k_Op_popd:
            popd();
            break;
        case k_Op_popdc:
            popdc();
            break;
        case k_Op_popn:
            with_name(&OxinVM::popn);
            break;
        case k_Op_popnc:
            with_dictionary_name(&OxinVM::popn);
            break;
        case k_Op_poprg:
            poprg(global_);
            break;
        case k_Op_poprl:
            poprg(frame_->locals());
            break;
        case k_Op_poprn:
            with_name(&OxinVM::poprn);
            break;
        case k_Op_poprnc:
            with_dictionary_name(&OxinVM::poprn);
            break;
        case k_Op_refer:
            refer();
            break;
        case k_Op_store:
            store();
            break;
        case k_Op_spush:
            system_->Push();
            break;
        case k_Op_spop:
            if (!system_->Pop()) FatalError("System variable stack underflow");
            break;
        case k_Op_elem:
            elem(1);
            break;
        case k_Op_elem_readonly:
            elem(0);
            break;
        case k_Op_memb:
            memb(1);
            break;
        case k_Op_memb_readonly:
            memb(0);
            break;
        case k_Op_add: {
            double right = s->PopD(), left = s->PopD();
            if (!fatal_) s->PushD(left + right);
            break;
        }
        case k_Op_sub: {
            double right = s->PopD(), left = s->PopD();
            if (!fatal_) s->PushD(left - right);
            break;
        }
        case k_Op_mul: {
            double right = s->PopD(), left = s->PopD();
            if (!fatal_) s->PushD(left * right);
            break;
        }
        case k_Op_div:
            div();
            break;
        case k_Op_mod:
            mod();
            break;
        case k_Op_pow:
            power();
            break;
        case k_Op_cat:
            if (!append_in_place()) s->Concatenate();
            break;
        case k_Op_bitand: {
            int right = s->PopI(), left = s->PopI();
            if (!fatal_) s->PushI(left & right);
            break;
        }
        case k_Op_bitor: {
            int right = s->PopI(), left = s->PopI();
            if (!fatal_) s->PushI(left | right);
            break;
        }
        case k_Op_bitxor: {
            int right = s->PopI(), left = s->PopI();
            if (!fatal_) s->PushI(left ^ right);
            break;
        }
        case k_Op_bitoc: {
            int value = s->PopI();
            if (!fatal_) s->PushI(~value);
            break;
        }
        case k_Op_bitsl:
            shift(true);
            break;
        case k_Op_bitsr:
            shift(false);
            break;
        case k_Op_rounds:
            rounds(true);
            break;
        case k_Op_roundf:
            rounds(false);
            break;
        case k_Op_crypt:
            crypt();
            break;
        case k_Op_cmp: {
            int order = s->Compare();
            if (!fatal_) s->PushI(order);
            break;
        }
        case k_Op_and: {
            bool right = s->PopBool(), left = s->PopBool();
            if (!fatal_) s->PushI(left && right);
            break;
        }
        case k_Op_or: {
            bool right = s->PopBool(), left = s->PopBool();
            if (!fatal_) s->PushI(left || right);
            break;
        }
        case k_Op_in:
            search(false, false);
            break;
        case k_Op_cin:
            search(true, false);
            break;
        case k_Op_ein:
            search(false, true);
            break;
        case k_Op_ecin:
            search(true, true);
            break;
        case k_Op_eq: {
            int order = s->Compare();
            if (!fatal_) s->PushI(order == 0);
            break;
        }
        case k_Op_ne: {
            int order = s->Compare();
            if (!fatal_) s->PushI(order != 0);
            break;
        }
        case k_Op_ge: {
            int order = s->Compare();
            if (!fatal_) s->PushI(order >= 0);
            break;
        }
        case k_Op_le: {
            int order = s->Compare();
            if (!fatal_) s->PushI(order <= 0);
            break;
        }
        case k_Op_lt: {
            int order = s->Compare();
            if (!fatal_) s->PushI(order < 0);
            break;
        }
        case k_Op_gt: {
            int order = s->Compare();
            if (!fatal_) s->PushI(order > 0);
            break;
        }
        case k_Op_not: {
            bool value = s->PopBool();
            if (!fatal_) s->PushI(!value);
            break;
        }
        case k_Op_dup:
            s->Dupe();
            break;
        case k_Op_isnull: {
            bool null = s->PopNull();
            if (!fatal_) s->PushI(null);
            break;
        }
        case k_Op_swap:
            s->Swap(0, 1);
            break;
        case k_Op_swapn:
            s->Swap(dword1_, dword2_);
            break;
        case k_Op_cmpgg:
            cmpgg();
            break;
        case k_Op_cmpgi:
            cmpgi();
            break;
        case k_Op_incg:
            incg();
            break;
        case k_Op_modgg:
            modgg();
            break;
        case k_Op_storegi:
            storegi();
            break;
        case k_Op_jmp:
            jump(dword1_);
            break;
        case k_Op_jmp_eq:
            jump_if(s->PopI() == 0);
            break;
        case k_Op_jmp_lt:
            jump_if(s->PopI() < 0);
            break;
        case k_Op_jmp_gt:
            jump_if(s->PopI() > 0);
            break;
        case k_Op_jmp_le:
            jump_if(s->PopI() <= 0);
            break;
        case k_Op_jmp_ge:
            jump_if(s->PopI() >= 0);
            break;
        case k_Op_jmp_ne:
            jump_if(s->PopI() != 0);
            break;
        case k_Op_call:
            call();
            break;
        case k_Op_ret:
            Return(true);
            break;
        case k_Op_retn:
            Return(false);
            break;
        case k_Op_exit:
        case k_Op_exit_alt:
            ip = code_length_;
            *finished_flag_ = 1;
            break;
        case k_Op_out:
            out();
            break;
        case k_Op_out_comp:
            out_comp();
            break;
        case k_Op_lineno:
            line_ = dword1_;
            if ((log_mask_ & kLogTrace) && line_ != last_line_traced_) {
                last_line_traced_ = line_;
                if (Logging(kLogTrace)) Log_Record(kLogTrace, {});
            }
            break;
        case k_Op_sourcefile:
            if (dword1_ != source_file_) last_line_traced_ = 0;
            source_file_ = dword1_;
            break;
        case k_Op_erroutput:
            frame_->error_flags = static_cast<unsigned>(dword1_);
            break;
        case k_Op_stdoutput:
            frame_->output_flags = static_cast<unsigned>(dword1_);
            SetOutputFlags(frame_->output_flags);
            break;
        case k_Op_tagerror:
            if (dword1_ >= 0 && dword1_ < kTagRows) tags_[dword1_].flags = dword2_;
            break;
        case k_Op_op_errmsg:
            op_errmsg();
            break;
        case k_Op_dbopen:
            dbopen(0);
            break;
        case k_Op_dbopen1:
            dbopen(1);
            break;
        case k_Op_dbcreate:
            dbcreate();
            break;
        case k_Op_dbclose:
            dbclose();
            break;
        case k_Op_dbskip:
            dbskip();
            break;
        case k_Op_dbgo:
            dbgo();
            break;
        case k_Op_dbfind:
            dbfind();
            break;
        case k_Op_dbadd:
            dbadd();
            break;
        case k_Op_dbupdate:
            dbupdate();
            break;
        case k_Op_dbdelete:
            dbdelete();
            break;
        case k_Op_dbundelete:
            dbundelete();
            break;
        case k_Op_dbfilter:
            dbfilter();
            break;
        case k_Op_dbprimary:
            dbprimary();
            break;
        case k_Op_dbsetindex:
            dbsetindex();
            break;
        case k_Op_dbmakeindex:
            dbmakeindex();
            break;
        case k_Op_dbpack:
            dbpack();
            break;
        case k_Op_dbreindex:
            dbreindex();
            break;
        case k_Op_dbrevealstructuredb:
            dbrevealstructuredb();
            break;
        case k_Op_dbrevealstructureagg:
            dbrevealstructureagg();
            break;
        case k_Op_dbopenview:
            dbopenview();
            break;
        case k_Op_dbcloseview:
            dbcloseview();
            break;
        case k_Op_dbquery:
            dbquery();
            break;
        case k_Op_dbcommit:
            dbcommit();
            break;
        case k_Op_dbrollback:
            dbrollback();
            break;
        case k_Op_dbtransaction:
            dbtransaction();
            break;
        case k_Op_dbcommand:
            dbcommand();
            break;
        case kIllegal:
            FatalError("Illegal Instruction");
            break;
        default:
            statement(word);
            break;
    }
}

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
