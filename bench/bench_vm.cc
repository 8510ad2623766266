// The interpreter against Lua 5.4 and PHP on the same small programs: a
// counting loop (with the combined instructions and with plain ones), text
// built by concatenation, and function calls. Each interpreter times its own
// loop, so process start-up is left out. Prints milliseconds and the ratios
// engine/other (below 1 means the engine is faster). lua5.4 and php must be
// on the PATH for their columns.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "application/NullOutput.h"
#include "tests/support/ScriptRun.h"

namespace {

struct Workload {
    const char* name;
    const char* listing;
    const char* lua;
    const char* php;
};

const Workload kWorkloads[] = {
    {"count 10M, combined instructions",
     ".global\n 0 \"i\"\n.end\n"
     ".segment 0\n"
     "again:\n    incg i, 1\n    cmpgi i, 10000000\n    jmp_lt again\n"
     ".end\n",
     "i = 0 while i < 10000000 do i = i + 1 end", "$i = 0; while ($i < 10000000) { $i = $i + 1; }"},
    {"count 10M, push/add/pop",
     ".global\n 0 \"i\"\n.end\n"
     ".segment 0\n"
     "again:\n    pushg i\n    pushi 1\n    add\n    popg i\n"
     "    pushg i\n    pushi 10000000\n    cmp\n    jmp_lt again\n"
     ".end\n",
     "i = 0 while i < 10000000 do i = i + 1 end", "$i = 0; while ($i < 10000000) { $i = $i + 1; }"},
    {"100,000 concatenations to 1 MB",
     ".global\n 0 \"i\"\n 1 \"s\"\n.end\n"
     ".segment 0\n    pushc \"\"\n    popg s\n"
     "again:\n    pushg s\n    pushc \"0123456789\"\n    cat\n    popg s\n"
     "    incg i, 1\n    cmpgi i, 100000\n    jmp_lt again\n"
     ".end\n",
     "s = '' i = 0 while i < 100000 do s = s .. '0123456789' i = i + 1 end",
     "$s = ''; $i = 0; while ($i < 100000) { $s = $s . '0123456789'; $i = $i + 1; }"},
    {"1M calls of a two-parameter function",
     ".global\n 0 \"i\"\n 1 \"r\"\n.end\n"
     ".functions\n.function 0 \"add\" segment 1\n param \"a\"\n param \"b\"\n.end\n"
     ".segment 0\n"
     "again:\n    pushg i\n    pushi 1\n    call add\n    popg r\n"
     "    incg i, 1\n    cmpgi i, 1000000\n    jmp_lt again\n"
     ".end\n"
     ".segment 1\n    pushl a\n    pushl b\n    add\n    ret\n.end\n",
     "function add(a, b) return a + b end i = 0 while i < 1000000 do r = add(i, 1) i = i + 1 end",
     "function add($a, $b) { return $a + $b; } $i = 0;"
     " while ($i < 1000000) { $r = add($i, 1); $i = $i + 1; }"},
};

double engine_ms(const Workload& workload) {
    TestApplication application;
    NullOutput output;
    application.SetOutput(&output);
    ScriptRun run(workload.listing, &application);
    if (!run.error().empty()) {
        fprintf(stderr, "%s: %s\n", workload.name, run.error().c_str());
        return -1;
    }
    auto start = std::chrono::steady_clock::now();
    run.Go();
    std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count();
}

// Runs command, which prints its own time in milliseconds; -1 if it cannot.
double other_ms(const std::string& command) {
    FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
    if (!pipe) return -1;
    double ms = -1;
    if (fscanf(pipe, "%lf", &ms) != 1) ms = -1;
    return pclose(pipe) == 0 ? ms : -1;
}

std::string quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

double lua_ms(const Workload& workload) {
    std::string program =
        std::string("local t = os.clock() ") + workload.lua + " print((os.clock() - t) * 1000)";
    return other_ms("lua5.4 -e " + quoted(program));
}

double php_ms(const Workload& workload) {
    std::string program = std::string("$t = hrtime(true); ") + workload.php +
                          " echo (hrtime(true) - $t) / 1e6, \"\\n\";";
    return other_ms("php -r " + quoted(program));
}

void print_ratio(double engine, double other) {
    if (engine < 0 || other <= 0) {
        printf(" %8s", "-");
    } else {
        printf(" %8.2f", engine / other);
    }
}

}  // namespace

// With --engine-only the other interpreters are not run; a number after it
// runs only that workload (counting from 1), for profiling.
int main(int argc, char** argv) {
    bool others = !(argc > 1 && std::string(argv[1]) == "--engine-only");
    int only = !others && argc > 2 ? atoi(argv[2]) : 0;
    printf("%-40s %10s %10s %10s %8s %8s\n", "workload", "engine ms", "lua ms", "php ms", "/lua",
           "/php");
    int number = 0;
    for (const Workload& workload : kWorkloads) {
        if (only && ++number != only) continue;
        double engine = engine_ms(workload);
        double lua = others ? lua_ms(workload) : -1;
        double php = others ? php_ms(workload) : -1;
        printf("%-40s %10.1f %10.1f %10.1f", workload.name, engine, lua, php);
        print_ratio(engine, lua);
        print_ratio(engine, php);
        printf("\n");
    }
    return 0;
}
