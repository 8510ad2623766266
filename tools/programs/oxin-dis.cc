// oxin-dis FILE: prints what a compiled file holds as assembly text.
#include <cstdio>
#include <string>

#include "host/StandaloneApplication.h"
#include "tools/Disassembler.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: oxin-dis FILE\n");
        return 2;
    }
    StandaloneApplication app;
    std::string listing;
    Disassembler disassembler;
    if (!disassembler.List(app.filemanager(), argv[1], &listing)) {
        fprintf(stderr, "oxin-dis: %s\n", disassembler.error().c_str());
        return 1;
    }
    fwrite(listing.data(), 1, listing.size(), stdout);
    return 0;
}
