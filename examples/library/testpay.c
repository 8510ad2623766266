/* A test payment method for OxCOMMERCE, built against nothing but the
 * interface header: it moves no money, and decides by the amount alone, so
 * that a shop's pages can be tried with every outcome. Register it in the
 * configuration under the method name that scripts use:
 *
 *     library commerce testpay /path/to/liboxintestpay.so
 *
 * The statement's fields are the script's variables that it names:
 *   amount     the sum to charge, a positive decimal number (read)
 *   status     "approved" or "declined" (written)
 *   reference  the transaction's reference, "TP-" and the sum in cents
 *              (written)
 *   state      "closed" once the statement has ended (written)
 * Fields that the statement does not name are neither read nor written.
 *
 * Actions:
 *   sale   up to 100.00 is approved and over that declined; over 1000.00,
 *          or an amount that is not a positive number, fails at the start,
 *          and the script gets the reason as the statement's error. The
 *          body runs twice: first with the system variable testpay_step
 *          "checked", then with testpay_step and status telling the
 *          outcome, and reference set.
 *   void   nothing to hand back: the body does not run.
 * Any other action fails at the start. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "extensions/oxin_extension.h"

enum { kAgain = 0, kFailed = 1, kEnd = 2 };

/* The largest sum, in cents, that the method accepts, and the largest that
 * it approves. */
static const long kLimit = 100000;
static const long kApprovalLimit = 10000;

/* What a statement keeps between calls: the amount and the passes made. */
typedef struct Sale {
    long cents;
} Sale;

/* The text of the last failure; the engine reads it at once. */
static char last_error[160];

static int fail(const char* format, const char* detail) {
    snprintf(last_error, sizeof last_error, format, detail);
    return kFailed;
}

static void set_field(VariableList* fields, const char* name, const char* value) {
    Variable* field = oxVariableList_Find(fields, name, -1);
    if (field) oxVariable_SetValue(field, value, -1);
}

/* The amount in cents, or -1 when the text is not a positive number with
 * at most two decimals. */
static long parse_cents(const char* text) {
    long units = 0, cents = 0;
    int digits = 0, decimals = -1;
    for (const char* c = text; *c; c++) {
        if (*c == '.' && decimals < 0) {
            decimals = 0;
        } else if (*c >= '0' && *c <= '9' && decimals < 2) {
            if (decimals < 0) {
                /* Past the limit the sum only has to stay past it. */
                if (units <= kLimit) units = units * 10 + (*c - '0');
            } else {
                cents = cents * 10 + (*c - '0');
                decimals++;
            }
            digits++;
        } else {
            return -1;
        }
    }
    if (decimals == 1) cents *= 10;
    long total = units * 100 + cents;
    return digits > 0 && total > 0 ? total : -1;
}

static int testpay_init(OxinVM* vm, void** data, const char* method, const char* action,
                        VariableList* fields, VariableHash* variables) {
    (void)vm;
    (void)method;
    (void)variables;
    if (strcmp(action, "void") == 0) return kAgain;
    if (strcmp(action, "sale") != 0) return fail("testpay: unknown action '%s'", action);
    Variable* field = oxVariableList_Find(fields, "amount", -1);
    const char* amount = field ? oxVariable_Value(field, 0) : 0;
    if (!amount) amount = "";
    long cents = parse_cents(amount);
    if (cents < 0) return fail("testpay: invalid amount '%s'", amount);
    if (cents > kLimit) return fail("testpay: amounts over %s are not accepted", "1000.00");
    Sale* sale = malloc(sizeof *sale);
    if (!sale) return fail("testpay: %s", "out of memory");
    sale->cents = cents;
    *data = sale;
    return kAgain;
}

static int testpay_loop(OxinVM* vm, void** data, const char* method, const char* action,
                        VariableList* fields, VariableHash* variables, int index) {
    (void)vm;
    (void)method;
    (void)action;
    Sale* sale = *data;
    if (!sale || index > 1) return kEnd;
    if (index == 0) {
        oxVariableHash_SetVariable(variables, "testpay_step", -1, "checked", -1);
        return kAgain;
    }
    const char* status = sale->cents <= kApprovalLimit ? "approved" : "declined";
    char reference[32];
    snprintf(reference, sizeof reference, "TP-%ld", sale->cents);
    oxVariableHash_SetVariable(variables, "testpay_step", -1, status, -1);
    set_field(fields, "status", status);
    set_field(fields, "reference", reference);
    return kAgain;
}

static int testpay_cleanup(OxinVM* vm, void** data, const char* method, const char* action,
                           VariableList* fields) {
    (void)vm;
    (void)method;
    (void)action;
    free(*data);
    *data = 0;
    set_field(fields, "state", "closed");
    return 0;
}

static const char* testpay_error(OxinVM* vm, void** data, const char* method, const char* action,
                                 VariableList* fields) {
    (void)vm;
    (void)data;
    (void)method;
    (void)action;
    (void)fields;
    return last_error;
}

static const OxCommerceLibrary table = {0, testpay_init, testpay_loop, testpay_cleanup,
                                        testpay_error};

__attribute__((visibility("default"))) const OxCommerceLibrary* oxin_commerce_library(void) {
    return &table;
}
