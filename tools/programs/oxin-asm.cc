// oxin-asm IN OUT: assembles assembly text into a compiled file.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "host/StandaloneApplication.h"
#include "tools/Assembler.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: oxin-asm IN OUT\n");
        return 2;
    }
    std::ifstream in(argv[1], std::ios::binary);
    if (!in) {
        fprintf(stderr, "oxin-asm: cannot read %s\n", argv[1]);
        return 1;
    }
    std::stringstream text;
    text << in.rdbuf();
    std::string source = text.str();
    StandaloneApplication app;
    Assembler assembler;
    if (!assembler.Assemble(source.data(), source.size())) {
        fprintf(stderr, "%s: %s\n", argv[1], assembler.error().c_str());
        return 1;
    }
    if (!assembler.Write(app.filemanager(), argv[2])) {
        fprintf(stderr, "oxin-asm: %s: %s\n", argv[2], assembler.error().c_str());
        return 1;
    }
    return 0;
}
