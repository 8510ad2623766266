/* liboxinmemdb.so: a database type that keeps its tables in memory, for as
 * long as the process lives. A database's path names its table. Built
 * against the interface header alone, as a library of a user's would be.
 *
 * Fields: "name CHAR(n)" or "name STRING" hold text, "name NUMBER(n)" or
 * "name INTEGER" integers, "name NUMBER(n.m)" or "name DOUBLE" doubles.
 * Every view has, besides the fields, "eof" (1 past the last record) and
 * "recno" (the record's number from 1, 0 past the end).
 * Connection 1 "create" makes a missing table on open. Views and filters
 * take "field=value" (a value "?" takes the next query variable); OxFIND
 * searches the key field, the first unless an index names another.
 * Queries: "count" and "sum FIELD" into the first variable. Transactions
 * keep a copy of the table until commit or rollback. Command "clear"
 * empties the table.
 *
 * Built with MEMDB_VERSION below 6 it declares an older table version; the
 * members beyond that version are then left out of its use. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "extensions/oxin_extension.h"

#ifndef MEMDB_VERSION
#define MEMDB_VERSION 6
#endif

enum { TEXT = 1, INTEGER = 2, DOUBLE = 3 };
enum { FIELD_EOF = -1, FIELD_RECNO = -2 };

typedef struct Cell {
    char* text;
    int integer;
    double number;
} Cell;

typedef struct Column {
    char name[32];
    int type;
} Column;

typedef struct Rows {
    Cell** rows;
    int count;
} Rows;

typedef struct Table {
    char name[64];
    Column* columns;
    int column_count;
    Rows data;
    int users;
    struct Table* next;
} Table;

typedef struct Cursor Cursor;

typedef struct Memdb {
    Table* table;
    int key;
    int in_transaction;
    Rows saved;
    Cursor* cursors;
    char error[256];
} Memdb;

struct Cursor {
    Memdb* db;
    ExternalDatabaseView* view;
    int row; /* index into the rows, -1 past the end */
    int filter_column;
    char* filter_value;
    Cell* buffer; /* the current record's values, as the fields change them */
    char error[256];
    Cursor* next;
};

static Table* tables;
/* Why the last open or create failed, before a database has a state. */
static char open_error[256];

static void free_rows(Rows* rows, int columns);

/* The tables live as long as the library: they go when it is unloaded. */
__attribute__((destructor)) static void free_tables(void) {
    while (tables) {
        Table* table = tables;
        tables = table->next;
        free_rows(&table->data, table->column_count);
        free(table->columns);
        free(table);
    }
}

/* ---- cells and rows */

static char* copy_text(const char* text, int length) {
    if (length < 0) length = text ? (int)strlen(text) : 0;
    char* copy = malloc(length + 1);
    if (length > 0) memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

static Cell* new_row(int columns) {
    Cell* row = calloc(columns ? columns : 1, sizeof(Cell));
    for (int i = 0; i < columns; i++)
        row[i].text = copy_text("", 0);
    return row;
}

static void free_row(Cell* row, int columns) {
    if (!row) return;
    for (int i = 0; i < columns; i++)
        free(row[i].text);
    free(row);
}

static void copy_cells(Cell* to, const Cell* from, int columns) {
    for (int i = 0; i < columns; i++) {
        free(to[i].text);
        to[i].text = copy_text(from[i].text, -1);
        to[i].integer = from[i].integer;
        to[i].number = from[i].number;
    }
}

static void free_rows(Rows* rows, int columns) {
    for (int i = 0; i < rows->count; i++)
        free_row(rows->rows[i], columns);
    free(rows->rows);
    rows->rows = NULL;
    rows->count = 0;
}

static void copy_rows(Rows* to, const Rows* from, int columns) {
    to->rows = calloc(from->count ? from->count : 1, sizeof(Cell*));
    to->count = from->count;
    for (int i = 0; i < from->count; i++) {
        to->rows[i] = new_row(columns);
        copy_cells(to->rows[i], from->rows[i], columns);
    }
}

static void append_row(Rows* rows, Cell* row) {
    rows->rows = realloc(rows->rows, (rows->count + 1) * sizeof(Cell*));
    rows->rows[rows->count++] = row;
}

/* The text of a cell of any type, in buf when it is a number. */
static const char* cell_text(const Column* column, const Cell* cell, char* buf, int size) {
    if (column->type == INTEGER) snprintf(buf, size, "%d", cell->integer);
    else if (column->type == DOUBLE) snprintf(buf, size, "%g", cell->number);
    else return cell->text;
    return buf;
}

static void set_cell_text(const Column* column, Cell* cell, const char* text, int length) {
    free(cell->text);
    cell->text = copy_text(text, length);
    cell->integer = atoi(cell->text);
    cell->number = atof(cell->text);
    (void)column;
}

/* ---- tables */

static Table* find_table(const char* name, int length) {
    for (Table* table = tables; table; table = table->next)
        if ((int)strlen(table->name) == length && strncmp(table->name, name, length) == 0)
            return table;
    return NULL;
}

static int column_of(const Table* table, const char* name, int length) {
    for (int i = 0; i < table->column_count; i++)
        if ((int)strlen(table->columns[i].name) == length &&
            strncasecmp(table->columns[i].name, name, length) == 0)
            return i;
    return -1;
}

static int fail(char* error, const char* format, const char* text, int length) {
    if (length < 0) length = text ? (int)strlen(text) : 0;
    snprintf(error, 256, format, length, text ? text : "");
    return 0;
}

/* One "name TYPE[(n[.m])]" of a list of fields; 0 when it is bad. */
static int parse_column(const char* spec, int length, Column* column) {
    char text[128];
    if (length <= 0 || length >= (int)sizeof text) return 0;
    memcpy(text, spec, length);
    text[length] = '\0';
    char name[32], type[32];
    int size = 0, decimals = 0;
    int got = sscanf(text, " %31[A-Za-z0-9_] %31[A-Za-z] ( %d . %d )", name, type, &size, &decimals);
    if (got < 2) return 0;
    strcpy(column->name, name);
    if (!strcasecmp(type, "CHAR") || !strcasecmp(type, "STRING")) column->type = TEXT;
    else if (!strcasecmp(type, "INTEGER")) column->type = INTEGER;
    else if (!strcasecmp(type, "DOUBLE")) column->type = DOUBLE;
    else if (!strcasecmp(type, "NUMBER")) column->type = got == 4 ? DOUBLE : INTEGER;
    else return 0;
    return 1;
}

static int parse_fields(const char* spec, int length, Column** columns, int* count) {
    *columns = NULL;
    *count = 0;
    int start = 0;
    for (int i = 0; i <= length; i++) {
        if (i < length && spec[i] != ',') continue;
        *columns = realloc(*columns, (*count + 1) * sizeof(Column));
        if (!parse_column(spec + start, i - start, &(*columns)[*count])) return 0;
        ++*count;
        start = i + 1;
    }
    return *count > 0;
}

/* ---- cursors */

static int matches(const Cursor* cursor, int row) {
    if (cursor->filter_column < 0) return 1;
    Table* table = cursor->db->table;
    char buf[64];
    const char* text = cell_text(&table->columns[cursor->filter_column],
                                 &table->data.rows[row][cursor->filter_column], buf, sizeof buf);
    return strcmp(text, cursor->filter_value) == 0;
}

/* The first matching row from row on in direction step, or -1. */
static int seek(const Cursor* cursor, int row, int step) {
    for (; row >= 0 && row < cursor->db->table->data.count; row += step)
        if (matches(cursor, row)) return row;
    return -1;
}

/* Puts the cursor on row (-1: past the end) and lets its fields read it. */
static int place(Cursor* cursor, int row) {
    Table* table = cursor->db->table;
    cursor->row = row;
    Cell* blank = new_row(table->column_count);
    copy_cells(cursor->buffer, row >= 0 ? table->data.rows[row] : blank, table->column_count);
    free_row(blank, table->column_count);
    oxDatabaseView_SetDirty(cursor->view, 1);
    return 1;
}

static int set_filter(Cursor* cursor, const char* filter, int length, VariableList* list) {
    Table* table = cursor->db->table;
    free(cursor->filter_value);
    cursor->filter_value = NULL;
    cursor->filter_column = -1;
    if (length <= 0) return 1;
    const char* equals = memchr(filter, '=', length);
    int column = equals ? column_of(table, filter, (int)(equals - filter)) : -1;
    if (column < 0) return fail(cursor->error, "Filter '%.*s' is not field=value", filter, length);
    const char* value = equals + 1;
    int value_length = length - (int)(value - filter);
    if (value_length == 1 && *value == '?') {
        Variable* variable = list ? oxVariableList_First(list) : NULL;
        if (!variable) return fail(cursor->error, "Filter '%.*s' has no variable", filter, length);
        value = oxVariable_Value(variable, &value_length);
    }
    cursor->filter_column = column;
    cursor->filter_value = copy_text(value, value_length);
    return 1;
}

static ExternalDatabaseView* add_cursor(ExternalDatabase* db, const char* name, int length,
                                        const char* filter, int filter_length,
                                        VariableList* list) {
    Memdb* state = oxDatabase_data(db);
    Cursor* cursor = calloc(1, sizeof(Cursor));
    cursor->db = state;
    cursor->filter_column = -1;
    cursor->buffer = new_row(state->table->column_count);
    if (!set_filter(cursor, filter, filter_length, list)) {
        strcpy(state->error, cursor->error);
        free_row(cursor->buffer, state->table->column_count);
        free(cursor);
        return NULL;
    }
    cursor->view = oxDatabase_AddView(db, name, length, cursor);
    if (!cursor->view) {
        fail(state->error, "The database has a view named '%.*s' already", name, length);
        free_row(cursor->buffer, state->table->column_count);
        free(cursor->filter_value);
        free(cursor);
        return NULL;
    }
    cursor->next = state->cursors;
    state->cursors = cursor;
    Table* table = state->table;
    for (int i = 0; i < table->column_count; i++)
        oxDatabaseView_AddVariable(cursor->view, table->columns[i].name, -1, (void*)(intptr_t)i);
    oxDatabaseView_AddVariable(cursor->view, "eof", 3, (void*)(intptr_t)FIELD_EOF);
    oxDatabaseView_AddVariable(cursor->view, "recno", 5, (void*)(intptr_t)FIELD_RECNO);
    place(cursor, seek(cursor, 0, 1));
    return cursor->view;
}

static void free_cursor(Cursor* cursor) {
    Memdb* state = cursor->db;
    for (Cursor** link = &state->cursors; *link; link = &(*link)->next)
        if (*link == cursor) {
            *link = cursor->next;
            break;
        }
    free_row(cursor->buffer, state->table->column_count);
    free(cursor->filter_value);
    free(cursor);
}

/* ---- the database */

static int attach(ExternalDatabase* db, Table* table, const char* name, int length) {
    Memdb* state = calloc(1, sizeof(Memdb));
    state->table = table;
    table->users++;
    oxDatabase_SetData(db, state);
    return add_cursor(db, name, length, "", 0, NULL) != NULL;
}

static int open_table(ExternalDatabase* db, const char* path, int path_length, const char* alias,
                      int alias_length, const char* c1, int c1_length) {
    Table* table = find_table(path, path_length);
    if (!table && c1_length == 6 && strncasecmp(c1, "create", 6) == 0) {
        table = calloc(1, sizeof(Table));
        snprintf(table->name, sizeof table->name, "%.*s", path_length, path);
        table->columns = calloc(1, sizeof(Column));
        strcpy(table->columns[0].name, "value");
        table->columns[0].type = TEXT;
        table->column_count = 1;
        table->next = tables;
        tables = table;
    }
    if (!table) {
        fail(open_error, "Table '%.*s' does not exist", path, path_length);
        oxDatabase_SetData(db, NULL);
        return 0;
    }
    return attach(db, table, alias_length > 0 ? alias : path,
                  alias_length > 0 ? alias_length : path_length);
}

static int create_table(ExternalDatabase* db, const char* path, int path_length, const char* alias,
                        int alias_length, const char* fields, int fields_length) {
    Column* columns;
    int count;
    Table* table = find_table(path, path_length);
    if (table && table->users > 0) return fail(open_error, "Table '%.*s' is in use", path, path_length);
    if (!parse_fields(fields, fields_length, &columns, &count)) {
        free(columns);
        return fail(open_error, "Bad list of fields '%.*s'", fields, fields_length);
    }
    if (!table) {
        table = calloc(1, sizeof(Table));
        snprintf(table->name, sizeof table->name, "%.*s", path_length, path);
        table->next = tables;
        tables = table;
    }
    free_rows(&table->data, table->column_count);
    free(table->columns);
    table->columns = columns;
    table->column_count = count;
    return attach(db, table, alias_length > 0 ? alias : path,
                  alias_length > 0 ? alias_length : path_length);
}

static const char* db_error(ExternalDatabase* db) {
    Memdb* state = oxDatabase_data(db);
    return state ? state->error : open_error;
}

#if MEMDB_VERSION < 2
static int db_open(ExternalDatabase* db, const char* path, int path_length, const char* c1,
                   int c1_length, const char* c2, int c2_length) {
    (void)c2;
    (void)c2_length;
    return open_table(db, path, path_length, "", 0, c1, c1_length);
}
#else
static int db_open(ExternalDatabase* db, const char* path, int path_length, const char* alias,
                   int alias_length, const char* c1, int c1_length, const char* c2, int c2_length,
                   const char* c3, int c3_length) {
    (void)c2, (void)c2_length, (void)c3, (void)c3_length;
    return open_table(db, path, path_length, alias, alias_length, c1, c1_length);
}
#endif

#if MEMDB_VERSION <= 2
static int db_create(ExternalDatabase* db, const char* path, int path_length, const char* fields,
                     int fields_length) {
    return create_table(db, path, path_length, "", 0, fields, fields_length);
}
#else
#define db_create create_table
#endif

static void db_release(ExternalDatabase* db);

/* Tables of an older version are never told of their release: their state
 * goes when the script closes them. */
static int db_close(ExternalDatabase* db) {
#if MEMDB_VERSION < 6
    if (oxDatabase_data(db)) db_release(db);
    oxDatabase_SetData(db, NULL);
#else
    (void)db;
#endif
    return 1;
}

static int db_openview(ExternalDatabase* db, const char* view, int view_length, const char* query,
                       int query_length, VariableList* list, int count) {
    (void)count;
    return add_cursor(db, view, view_length, query, query_length, list) != NULL;
}

static int db_runquery(ExternalDatabase* db, const char* query, int length, VariableList* list,
                       int count) {
    Memdb* state = oxDatabase_data(db);
    Table* table = state->table;
    Variable* into = count > 0 ? oxVariableList_First(list) : NULL;
    if (!into) return fail(state->error, "Query '%.*s' needs a variable", query, length);
    if (length == 5 && strncasecmp(query, "count", 5) == 0) {
        oxVariable_SetValue_Integer(into, table->data.count);
        return 1;
    }
    int column = length > 4 && strncasecmp(query, "sum ", 4) == 0
                     ? column_of(table, query + 4, length - 4)
                     : -2;
    if (column == -2) return fail(state->error, "Unknown query '%.*s'", query, length);
    if (column < 0 || table->columns[column].type == TEXT)
        return fail(state->error, "No number field named '%.*s'", query + 4, length - 4);
    double sum = 0;
    for (int i = 0; i < table->data.count; i++) {
        Cell* cell = &table->data.rows[i][column];
        sum += table->columns[column].type == INTEGER ? cell->integer : cell->number;
    }
    oxVariable_SetValue_Double(into, sum);
    return 1;
}

static int db_setprimaryindex(ExternalDatabase* db, const char* index, int length) {
    Memdb* state = oxDatabase_data(db);
    int column = column_of(state->table, index, length);
    if (column < 0) return fail(state->error, "No field named '%.*s'", index, length);
    state->key = column;
    return 1;
}

static int db_createindex(ExternalDatabase* db, const char* file, int file_length,
                          const char* expression, int expression_length, const char* flags,
                          int flags_length) {
    (void)file, (void)file_length, (void)flags, (void)flags_length;
    return db_setprimaryindex(db, expression, expression_length);
}

/* Every view of the database starts again at its first record. */
static void reset_cursors(Memdb* state) {
    for (Cursor* cursor = state->cursors; cursor; cursor = cursor->next)
        place(cursor, seek(cursor, 0, 1));
}

static int db_commit(ExternalDatabase* db) {
    Memdb* state = oxDatabase_data(db);
    if (!state->in_transaction) return fail(state->error, "No transaction is open%.*s", "", 0);
    free_rows(&state->saved, state->table->column_count);
    state->in_transaction = 0;
    return 1;
}

static int db_rollback(ExternalDatabase* db) {
    Memdb* state = oxDatabase_data(db);
    if (!state->in_transaction) return fail(state->error, "No transaction is open%.*s", "", 0);
    free_rows(&state->table->data, state->table->column_count);
    state->table->data = state->saved;
    state->saved.rows = NULL;
    state->saved.count = 0;
    state->in_transaction = 0;
    reset_cursors(state);
    return 1;
}

static int db_transaction(ExternalDatabase* db) {
    Memdb* state = oxDatabase_data(db);
    if (state->in_transaction)
        return fail(state->error, "A transaction is open already%.*s", "", 0);
    copy_rows(&state->saved, &state->table->data, state->table->column_count);
    state->in_transaction = 1;
    return 1;
}

static int db_command(ExternalDatabase* db, const char* command, int length, const char* arguments,
                      int arguments_length) {
    (void)arguments, (void)arguments_length;
    Memdb* state = oxDatabase_data(db);
    if (length != 5 || strncasecmp(command, "clear", 5) != 0)
        return fail(state->error, "Unknown command '%.*s'", command, length);
    free_rows(&state->table->data, state->table->column_count);
    reset_cursors(state);
    return 1;
}

static void db_release(ExternalDatabase* db) {
    Memdb* state = oxDatabase_data(db);
    while (state->cursors)
        free_cursor(state->cursors);
    free_rows(&state->saved, state->table->column_count);
    state->table->users--;
    free(state);
}

/* ---- views */

static Cursor* cursor_of(ExternalDatabaseView* view) {
    return oxDatabaseView_data(view);
}

static int view_close(ExternalDatabaseView* view) {
    free_cursor(cursor_of(view));
    oxDatabaseView_SetData(view, NULL);
    return 1;
}

static int view_skip(ExternalDatabaseView* view, int count) {
    Cursor* cursor = cursor_of(view);
    int row = cursor->row;
    if (row < 0 && count < 0) {
        row = seek(cursor, cursor->db->table->data.count - 1, -1);
        count++;
    }
    for (; count > 0 && row >= 0; count--)
        row = seek(cursor, row + 1, 1);
    for (; count < 0 && row >= 0; count++) {
        int before = seek(cursor, row - 1, -1);
        if (before < 0) break;
        row = before;
    }
    return place(cursor, row);
}

static int view_go(ExternalDatabaseView* view, long position) {
    Cursor* cursor = cursor_of(view);
    int count = cursor->db->table->data.count;
    if (position == -1) return place(cursor, seek(cursor, 0, 1));
    if (position == -2) return place(cursor, seek(cursor, count - 1, -1));
    if (position < 1 || position > count || !matches(cursor, (int)position - 1)) {
        snprintf(cursor->error, sizeof cursor->error, "There is no record %ld", position);
        return 0;
    }
    return place(cursor, (int)position - 1);
}

static int view_add(ExternalDatabaseView* view) {
    Cursor* cursor = cursor_of(view);
    Table* table = cursor->db->table;
    oxDatabaseView_Commit(view);
    Cell* row = new_row(table->column_count);
    copy_cells(row, cursor->buffer, table->column_count);
    append_row(&table->data, row);
    return place(cursor, table->data.count - 1);
}

static int view_update(ExternalDatabaseView* view) {
    Cursor* cursor = cursor_of(view);
    Table* table = cursor->db->table;
    oxDatabaseView_Commit(view);
    if (cursor->row < 0) return fail(cursor->error, "There is no current record%.*s", "", 0);
    copy_cells(table->data.rows[cursor->row], cursor->buffer, table->column_count);
    return place(cursor, cursor->row);
}

static int view_delete(ExternalDatabaseView* view) {
    Cursor* cursor = cursor_of(view);
    Table* table = cursor->db->table;
    if (cursor->row < 0) return fail(cursor->error, "There is no current record%.*s", "", 0);
    free_row(table->data.rows[cursor->row], table->column_count);
    table->data.count--;
    memmove(table->data.rows + cursor->row, table->data.rows + cursor->row + 1,
            (table->data.count - cursor->row) * sizeof(Cell*));
    return place(cursor, seek(cursor, cursor->row, 1));
}

static int view_filter(ExternalDatabaseView* view, const char* expression, int length) {
    Cursor* cursor = cursor_of(view);
    if (!set_filter(cursor, expression, length, NULL)) return 0;
    return place(cursor, seek(cursor, 0, 1));
}

static int view_find(ExternalDatabaseView* view, const char* key, int length, int whole) {
    Cursor* cursor = cursor_of(view);
    Table* table = cursor->db->table;
    int column = cursor->db->key;
    char buf[64];
    for (int row = seek(cursor, 0, 1); row >= 0; row = seek(cursor, row + 1, 1)) {
        const char* text = cell_text(&table->columns[column], &table->data.rows[row][column], buf,
                                     sizeof buf);
        if (strncmp(text, key, length) == 0 && (!whole || (int)strlen(text) == length))
            return place(cursor, row);
    }
    place(cursor, -1);
    return fail(cursor->error, "No record has the key '%.*s'", key, length);
}

static const char* view_error(ExternalDatabaseView* view) {
    return cursor_of(view)->error;
}

/* ---- fields */

/* The field's cell in its view's current values, or null for a state field. */
static Cell* field_cell(ExternalDatabaseVariable* variable, Column** column) {
    Cursor* cursor = cursor_of(oxDatabaseVariable_DatabaseView(variable));
    intptr_t index = (intptr_t)oxDatabaseVariable_data(variable);
    if (index < 0) return NULL;
    *column = &cursor->db->table->columns[index];
    return &cursor->buffer[index];
}

static int state_field(ExternalDatabaseVariable* variable) {
    Cursor* cursor = cursor_of(oxDatabaseVariable_DatabaseView(variable));
    if ((intptr_t)oxDatabaseVariable_data(variable) == FIELD_EOF) return cursor->row < 0;
    return cursor->row + 1;
}

static int get_integer(ExternalDatabaseVariable* variable, int* value) {
    Column* column;
    Cell* cell = field_cell(variable, &column);
    if (cell && column->type != INTEGER) return 0;
    *value = cell ? cell->integer : state_field(variable);
    return 1;
}

static int get_double(ExternalDatabaseVariable* variable, double* value) {
    Column* column;
    Cell* cell = field_cell(variable, &column);
    if (!cell || column->type != DOUBLE) return 0;
    *value = cell->number;
    return 1;
}

static int get_string(ExternalDatabaseVariable* variable, char** text, int* length, int* owned) {
    Column* column;
    Cell* cell = field_cell(variable, &column);
    if (!cell || column->type != TEXT) return 0;
    *text = cell->text;
    *length = (int)strlen(cell->text);
    *owned = 0;
    return 1;
}

static int set_integer(ExternalDatabaseVariable* variable, int value) {
    char text[32];
    snprintf(text, sizeof text, "%d", value);
    Column* column;
    Cell* cell = field_cell(variable, &column);
    if (cell) set_cell_text(column, cell, text, -1);
    return cell != NULL;
}

static int set_double(ExternalDatabaseVariable* variable, double value) {
    Column* column;
    Cell* cell = field_cell(variable, &column);
    if (!cell) return 0;
    set_cell_text(column, cell, "", 0);
    cell->number = value;
    cell->integer = (int)value;
    return 1;
}

static int set_string(ExternalDatabaseVariable* variable, const char* text, int length) {
    Column* column;
    Cell* cell = field_cell(variable, &column);
    if (cell) set_cell_text(column, cell, text, length);
    return cell != NULL;
}

static int preferred_type(ExternalDatabaseVariable* variable) {
    Column* column;
    Cell* cell = field_cell(variable, &column);
    return cell ? column->type : INTEGER;
}

static const _OX_EL_Database table = {
    MEMDB_VERSION,
    (int (*)(ExternalDatabase*, const char*, int, const char*, int, const char*, int))(void (*)(void))db_create,
    (int (*)(ExternalDatabase*, const char*, int, const char*, int, const char*, int, const char*,
             int, const char*, int))(void (*)(void))db_open,
    db_close,
    db_openview,
    db_runquery,
    NULL, /* Pack */
    db_setprimaryindex,
    db_createindex,
    NULL, /* OpenIndexes */
    NULL, /* Reindex */
    db_error,
    view_close,
    view_skip,
    view_go,
    view_add,
    view_delete,
    NULL, /* UnDelete */
    view_update,
    view_filter,
    view_find,
    NULL, /* RevealStructure_Table */
    NULL, /* RevealStructure_Aggregate */
    view_error,
    get_integer,
    get_double,
    get_string,
    set_integer,
    set_double,
    set_string,
    NULL, /* Variable_Release */
    db_commit,
    db_rollback,
    preferred_type,
    db_transaction,
    db_command,
    db_release,
};

__attribute__((visibility("default"))) const _OX_EL_Database* oxin_database_library(void) {
    return &table;
}
