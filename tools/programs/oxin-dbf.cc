// oxin-dbf [--no-records] TABLE [INDEX...]: prints a table's header, fields
// and records, and checks each index file against the table. It only reads,
// so it is safe on live data. Exits 0 when all is well, 1 on any error or
// inconsistency, 2 on wrong usage.
//
// oxin-dbf --reindex TABLE INDEX...: rebuilds each index from the table,
// under the table's locks; the repair after a writer died between changing
// the table and its indexes. Exits 0 when every index was rebuilt.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "database/QTXIndexFile.h"
#include "database/XBaseMemoField.h"
#include "database/XBaseTable.h"
#include "host/StandaloneApplication.h"
#include "tools/XBaseIndexChecker.h"
#include "tools/XBaseIndexRebuilder.h"

namespace {

// A damaged table could give an error for each of millions of records; the
// first ones tell the story.
constexpr int kMaximumErrors = 20;

const char* const kUsage =
    "usage: oxin-dbf [--no-records] TABLE [INDEX...]\n"
    "       oxin-dbf --reindex TABLE INDEX...\n";

// Files are opened under the data root "/", by their absolute path.
std::string Contained(const char* path) {
    char resolved[PATH_MAX];
    if (!realpath(path, resolved)) return path;
    return resolved + 1;
}

void PrintQuoted(const char* text, int length) {
    putchar('"');
    for (int i = 0; i < length; i++) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            printf("\\%c", c);
        } else if (c == '\n') {
            printf("\\n");
        } else if (c < 0x20 || c == 0x7F) {
            printf("\\x%02X", c);
        } else {
            putchar(c);
        }
    }
    putchar('"');
}

void PrintHeader(XBaseTable& table) {
    printf("table: %s\n", table.datapath().c_str());
    printf("version: %d (0x%02X)\n", table.version(), table.version());
    printf("last update: %04d-%02d-%02d\n", 1900 + table.lastupdate_year(),
           table.lastupdate_month(), table.lastupdate_day());
    printf("records: %d\n", table.numrecords());
    printf("header length: %d\n", table.headerlength());
    printf("record length: %d\n", table.recordlength());
    if (table.version() == 131) {
        printf("memo file: %s (next free block %d)\n", table.memopath().c_str(),
               table.firstfreeblock());
    }
    printf("fields: %d\n", table.fields().Entries());
    for (XBaseField* field = table.fields().First(); field; field = table.fields().Next()) {
        printf("  %-10s %c %3d %d\n", field->name(), XBaseTypeCharacter(field->type()),
               field->length(), field->decimalcount());
    }
}

// Compares the header's record count with the file's size, once, and
// gives the number of records that can be listed.
bool CheckSize(XBaseTable& table, int* listable) {
    int held = table.RecordsHeld();
    int counted = table.numrecords();
    *listable = std::min(std::max(held, 0), counted);
    if (held < 0) {
        fprintf(stderr, "oxin-dbf: %s\n", table.error().c_str());
        return false;
    }
    if (held < counted) {
        fprintf(stderr,
                "oxin-dbf: %s: the header counts %d records, but the file holds only %d; "
                "the missing ones are not listed\n",
                table.datapath().c_str(), counted, held);
        return false;
    }
    // Beyond the end-of-file mark: an append that stopped before its header
    // was written. The next append overwrites it.
    if (static_cast<long>(held - counted) * table.recordlength() > 1) {
        printf("note: the file holds %d records beyond the %d the header counts\n", held - counted,
               counted);
    }
    return true;
}

bool PrintRecords(XBaseTable& table, int listable) {
    bool sound = true;
    int errors = 0;
    for (int record = 1; record <= listable; record++) {
        if (errors >= kMaximumErrors) {
            fprintf(stderr, "oxin-dbf: stopped after %d errors\n", errors);
            return false;
        }
        if (!table.Goto(record)) {
            fprintf(stderr, "oxin-dbf: record %d: %s\n", record, table.error().c_str());
            sound = false;
            errors++;
            continue;
        }
        printf("%d%s", record, table.deleted() ? " *" : "");
        for (XBaseField* field = table.fields().First(); field; field = table.fields().Next()) {
            printf(" %s=", field->name());
            if (field->type() == XBaseMemo) {
                auto* memo = static_cast<XBaseMemoField*>(field);
                const char* text = memo->data();
                if (!text) {
                    fprintf(stderr, "oxin-dbf: record %d, %s: %s\n", record, field->name(),
                            table.error().c_str());
                    sound = false;
                    errors++;
                }
                PrintQuoted(text ? text : "", text ? memo->textlength() : 0);
            } else {
                PrintQuoted(field->data(), static_cast<int>(strlen(field->data())));
            }
        }
        putchar('\n');
    }
    return sound;
}

bool CheckIndex(StandaloneApplication& app, XBaseTable& table, const char* path,
                const std::string& contained) {
    QTXIndexFile index(&app);
    if (!index.Open(OxinPathData, contained.c_str(), FileOpenRead)) {
        fprintf(stderr, "oxin-dbf: %s\n", index.error().c_str());
        return false;
    }
    printf("index: %s\n", path);
    printf("  expression: %s\n", reinterpret_cast<const char*>(index.keyexpression()));
    printf("  flags: %u, pages: %u, root: %u, updates: %u\n", index.flags(), index.numpages(),
           index.startingpage(), index.updatecount());
    XBaseIndexChecker checker(&index, &table);
    bool sound = checker.Check();
    printf("  %s\n", checker.summary().c_str());
    for (const std::string& problem : checker.problems())
        printf("  problem: %s\n", problem.c_str());
    printf("  %s\n", sound ? "consistent" : "INCONSISTENT");
    return sound;
}

bool RebuildIndex(StandaloneApplication& app, XBaseTable& table, const char* path,
                  const std::string& contained) {
    QTXIndexFile index(&app);
    if (!index.Open(OxinPathData, contained.c_str(), FileOpenRead | FileOpenWrite)) {
        fprintf(stderr, "oxin-dbf: %s\n", index.error().c_str());
        return false;
    }
    XBaseIndexRebuilder rebuilder(&index, &table);
    if (!rebuilder.Rebuild()) {
        fprintf(stderr, "oxin-dbf: %s\n", rebuilder.error().c_str());
        return false;
    }
    printf("index: %s rebuilt with %d entries\n", path, rebuilder.entries());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int first = 1;
    bool records = true;
    bool reindex = false;
    if (argc > 1 && strcmp(argv[1], "--no-records") == 0) {
        records = false;
        first++;
    } else if (argc > 1 && strcmp(argv[1], "--reindex") == 0) {
        reindex = true;
        first++;
    }
    if (argc <= first + (reindex ? 1 : 0)) {
        fputs(kUsage, stderr);
        return 2;
    }
    // Paths are resolved before the data root is set, which changes the
    // working directory.
    std::vector<std::string> paths;
    for (int i = first; i < argc; i++)
        paths.push_back(Contained(argv[i]));
    StandaloneApplication app;
    if (!app.files().InitializeDataDirectory("/")) {
        fprintf(stderr, "oxin-dbf: %s\n", app.files().error().c_str());
        return 1;
    }
    XBaseTable table(&app);
    const std::string& path = paths[0];
    int flags = reindex ? FileOpenRead | FileOpenWrite : FileOpenRead;
    if (!table.Open(OxinPathData, path.c_str(), static_cast<int>(path.size()), flags)) {
        fprintf(stderr, "oxin-dbf: %s\n", table.error().c_str());
        return 1;
    }
    bool sound = true;
    for (int i = first + 1; reindex && i < argc; i++)
        sound = RebuildIndex(app, table, argv[i], paths[i - first]) && sound;
    if (reindex) return sound ? 0 : 1;
    PrintHeader(table);
    int listable = 0;
    sound = CheckSize(table, &listable);
    if (records) sound = PrintRecords(table, listable) && sound;
    for (int i = first + 1; i < argc; i++)
        sound = CheckIndex(app, table, argv[i], paths[i - first]) && sound;
    return sound ? 0 : 1;
}
