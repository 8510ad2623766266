#include "tools/OperandRoles.h"

#include "runtime/Instructions.h"

OperandRole Operand_Role(uint16_t number, int which) {
    switch (number) {
        case Op_pushc:
        case Op_pushnc:
        case Op_popnc:
        case Op_poplvnc:
        case Op_poprnc:
        case Op_sourcefile:
        case Op_pushdc:
        case Op_popdc:
        case Op_localize:
        case Op_localizev:
            return RoleDictionary;
        case Op_pushg:
        case Op_popg:
        case Op_poprg:
        case Op_cmpgg:
        case Op_modgg:
            return RoleGlobal;
        case Op_cmpgi:
        case Op_incg:
        case Op_storegi:
            return which == 0 ? RoleGlobal : RoleValue;
        case Op_pushs:
        case Op_pops:
            return RoleSystem;
        case Op_pushl:
        case Op_popl:
        case Op_poprl:
            return RoleLocal;
        case Op_jmp:
        case Op_jmp_eq:
        case Op_jmp_lt:
        case Op_jmp_gt:
        case Op_jmp_le:
        case Op_jmp_ge:
        case Op_jmp_ne:
        case Op_async:
        case Op_op_http:
        case Op_op_http8:
        case Op_op_http_loop:
        case Op_op_http_stop:
        case Op_op_smtp:
        case Op_pop3:
        case Op_pop3loop:
        case Op_pop3stop:
        case Op_import:
        case Op_importf:
        case Op_import_loop:
        case Op_import_stop:
        case Op_op_commerce:
        case Op_op_commerce_loop:
        case Op_op_commerce_stop:
            return RoleJump;
        case Op_op_http_counted:
        case Op_op_smtp_counted:
            return which == 0 ? RoleJump : RoleValue;
        case Op_call:
            return RoleFunction;
        default:
            return RoleValue;
    }
}
