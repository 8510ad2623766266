// Loads arbitrary bytes as a compiled file: the header and directory, every
// section through its reader, and the whole listing of the disassembler;
// then, when the file loads as a request loads it, runs it for a limited
// number of instructions with its output dropped. Damaged files must be
// refused cleanly or stopped by the machine's own checks; findings are
// crashes, overruns, leaks and runaway allocations.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "application/NullOutput.h"
#include "files/Dictionary.h"
#include "files/TaggedFile.h"
#include "runtime/FunctionManager.h"
#include "runtime/OxinVM.h"
#include "runtime/SegmentManager.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedLanguages.h"
#include "tests/support/TestApplication.h"
#include "tools/Disassembler.h"
#include "variables/VariableHash.h"

namespace {

std::string temporary_path() {
    static std::string path = [] {
        char pattern[] = "/tmp/oxin_fuzz_compiled_XXXXXX";
        int fd = mkstemp(pattern);
        if (fd < 0) abort();
        close(fd);
        return std::string(pattern);
    }();
    return path;
}

void check_dictionary(const Dictionary& d) {
    for (int id = 0; id < d.entries(); id++) {
        int length = -1;
        const char* text = d.Entry(id, &length);
        if (!text || length < 0) __builtin_trap();
        volatile char sink = 0;
        for (int i = 0; i < length; i++)
            sink = sink ^ text[i];  // every byte readable
    }
}

void check_segments(const SegmentManager& m) {
    for (int id = 0; id < m.count(); id++) {
        const Segment* s = m.Segment_Get(id);
        if (!s) continue;
        uint16_t word;
        for (int at = 0; at >= 0 && at < s->Code_Length();)
            at = s->Read_Word(at, &word);
    }
}

// Instructions that one input may run, over all its machines: enough for
// loops and calls to do real work, few enough to keep an input quick.
constexpr long kInstructionBudget = 20000;

// Loads the file in the order of a request and, if every section loads,
// runs it from its start segment until it ends or the budget runs out.
void run(TestApplication* app, const std::string& path) {
    TaggedFile file(app->filemanager());
    if (!file.Open(path.c_str(), FileOpenRead)) return;
    Dictionary dictionary;
    VariableHash system(&dictionary, 8, 8), global(&dictionary, 8, 8);
    LocalizedLanguages languages(app, &dictionary);
    LocalizedDictionary pieces;
    SegmentManager segments;
    FunctionManager functions(&dictionary);
    if (!dictionary.Read(&file) || !system.Read(&file, kSectionSyst) ||
        !global.Read(&file, kSectionGlbl) || !languages.Read(&file) || !pieces.Read(&file) ||
        !segments.Read(&file) || !functions.Read(&file, segments))
        return;
    app->cancelled_flag = 0;
    app->finished_flag = 0;
    OxinVM::instruction_budget = kInstructionBudget;
    OxinVM vm(path.c_str(), static_cast<int>(path.size()), app, &dictionary, &system, &global,
              &segments, &functions, nullptr, nullptr, nullptr, &languages, &pieces, nullptr,
              nullptr, nullptr, nullptr);
    vm.Go();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 16) return 0;
    static TestApplication* app = [] {
        auto* made = new TestApplication();
        made->SetOutput(new NullOutput());
        return made;
    }();
    std::string path = temporary_path();
    FILE* out = fopen(path.c_str(), "wb");
    if (!out) abort();
    if (size) fwrite(data, 1, size, out);
    fclose(out);

    TaggedFile file(app->filemanager());
    if (!file.Open(path.c_str(), FileOpenRead)) {
        if (file.error().length() == 0) __builtin_trap();
        return 0;
    }
    Dictionary dictionary;
    if (dictionary.Read(&file)) check_dictionary(dictionary);
    dictionary.Entry_Add("added after the load");
    check_dictionary(dictionary);
    SegmentManager segments;
    if (segments.Read(&file)) check_segments(segments);
    // The reads by offset and sequence over every directory entry.
    char buffer[64];
    for (int i = 0; i < file.directory_entries(); i++) {
        uint32_t id = file.directory_entry(i)->id;
        if (file.Section_Read_Start(id)) {
            while (file.Section_Read(buffer, sizeof buffer) > 0) {
            }
        }
        file.Section_Read(id, i * 3, buffer, sizeof buffer);
    }
    std::string listing;
    Disassembler disassembler;
    if (!disassembler.List(app->filemanager(), path.c_str(), &listing) &&
        disassembler.error().empty())
        __builtin_trap();
    run(app, path);
    return 0;
}
