/* The function library of the examples, built against nothing but the
 * interface header. HTMLEncode(text) gives text with & < > " and ' written
 * as entities, so that a visitor's text printed into a page or into an
 * attribute value stays text. Register it in the configuration:
 *
 *     library builtin /path/to/liboxinhtml.so
 *
 * and declare it in a script as an external function of one parameter. */
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include "extensions/oxin_extension.h"

/* The entity of a byte, or null for a byte that stands for itself. */
static const char* entity(char c) {
    switch (c) {
        case '&': return "&amp;";
        case '<': return "&lt;";
        case '>': return "&gt;";
        case '"': return "&quot;";
        case '\'': return "&#39;";
        default: return 0;
    }
}

static size_t encoded_length(const char* text, int length) {
    size_t size = 0;
    for (int i = 0; i < length; i++) {
        const char* name = entity(text[i]);
        size += name ? strlen(name) : 1;
    }
    return size;
}

/* A text whose encoding a variable cannot hold, or no memory for it, gives
 * an empty result: never the text unencoded. */
static void html_encode(OxinVM* vm, VariableHash* parameters, Variable* result, void** data) {
    (void)vm;
    (void)data;
    int length = 0;
    const char* text = oxVariable_Value(oxVariableHash_Find(parameters, "text", 4), &length);
    if (!text || length <= 0) return;
    size_t size = encoded_length(text, length);
    if (size > INT_MAX) return;
    char* encoded = malloc(size);
    if (!encoded) return;
    char* at = encoded;
    for (int i = 0; i < length; i++) {
        const char* name = entity(text[i]);
        if (name) {
            size_t n = strlen(name);
            memcpy(at, name, n);
            at += n;
        } else {
            *at++ = text[i];
        }
    }
    oxVariable_SetValue(result, encoded, (int)size);
    free(encoded);
}

static const _OX_EL_Parameter html_encode_parameters[] = {{"text", 4, 0}};
static const _OX_EL_Function functions[] = {
    {"HTMLEncode", 10, 1, html_encode_parameters, html_encode},
    {0, 0, 0, 0, 0},
};
static const OxFunctionTable table = {0, functions};

__attribute__((visibility("default"))) const OxFunctionTable* oxin_function_table(void) {
    return &table;
}
