// OxCALL's tokenizer over a large real page (the bodies of the Debian
// reference manual's pages in one document, about 2 MB), every object published to the
// variables as a script sees it, against libxml2's HTML reader on the same
// file, run as xmllint --html --stream --noout and timed as a process.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "bench/RatioReporter.h"
#include "files/Dictionary.h"
#include "network/HTTPResponseStream.h"
#include "statements/CallBuffer.h"
#include "statements/CallScanner.h"
#include "tests/support/MemoryConnection.h"
#include "variables/VariableHash.h"

namespace {

const char* kPages = "/usr/share/debian-reference";

// The pages put together as one well-formed document (the first page's
// head, every page's body, the end), so that xmllint's reader goes through
// all of it; written once to a temporary file for xmllint.
struct LargePage {
    std::string text;
    std::string path;

    LargePage() {
        for (const auto& entry : std::filesystem::directory_iterator(kPages)) {
            std::string name = entry.path().filename();
            if (name.size() < 8 || name.compare(name.size() - 8, 8, ".en.html") != 0) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            std::stringstream read;
            read << in.rdbuf();
            std::string page = read.str();
            size_t body = page.find("<body"), end = page.rfind("</body>");
            if (body == std::string::npos || end == std::string::npos) continue;
            body = page.find('>', body) + 1;
            if (text.empty()) text = page.substr(0, body);
            text += page.substr(body, end - body);
        }
        if (!text.empty()) text += "</body></html>\n";
        if (text.empty()) {
            fprintf(stderr, "%s has no pages: install the Debian package debian-reference-en\n",
                    kPages);
            exit(1);
        }
        char pattern[] = "/tmp/oxin-bench-call-XXXXXX";
        int fd = mkstemp(pattern);
        close(fd);
        path = pattern;
        std::ofstream(path, std::ios::binary) << text;
    }
    ~LargePage() { unlink(path.c_str()); }
};

LargePage& Page() {
    static LargePage page;
    return page;
}

void Tokenizer(benchmark::State& state) {
    const std::string& text = Page().text;
    long objects = 0;
    for (auto _ : state) {
        HTTPResponseStream stream(new MemoryConnection("HTTP/1.0 200 OK\r\n\r\n" + text), 5);
        stream.Read_Headers();
        Dictionary dictionary;
        VariableHash variables(&dictionary, 8, 8);
        CallBuffer buffer(&stream, 8192);
        CallScanner scanner(&buffer, &variables);
        objects = 0;
        while (scanner.Find_Next_Element() == CallScanner::kObject) objects++;
    }
    state.counters["objects"] = static_cast<double>(objects);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void Xmllint(benchmark::State& state) {
    std::string command = "xmllint --html --stream --noout " + Page().path + " 2>/dev/null";
    if (system("command -v xmllint >/dev/null") != 0) {
        state.SkipWithError("xmllint is missing: install the Debian package libxml2-utils");
        return;
    }
    for (auto _ : state) {
        // A failure would time a reader that stopped early.
        if (system(command.c_str()) != 0) {
            state.SkipWithError("xmllint did not read the whole page");
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Page().text.size()));
}

}  // namespace

BENCHMARK(Tokenizer)->Name("html page/oxin")->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(Xmllint)->Name("html page/xmllint")->Unit(benchmark::kMillisecond)->Iterations(10);

int main(int argc, char** argv) { return RunWithRatios(argc, argv); }
