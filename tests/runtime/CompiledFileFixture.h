#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "files/File.h"
#include "runtime/TaggedFile.h"
#include "tests/support/TestApplication.h"

using Bytes = std::vector<unsigned char>;

inline void append_u32(Bytes& out, uint32_t value) {
    for (int i = 0; i < 4; i++)
        out.push_back(static_cast<unsigned char>(value >> (8 * i)));
}

inline void append_u16(Bytes& out, uint16_t value) {
    out.push_back(static_cast<unsigned char>(value));
    out.push_back(static_cast<unsigned char>(value >> 8));
}

inline void append_text(Bytes& out, const std::string& text) {
    out.insert(out.end(), text.begin(), text.end());
}

// A fresh directory for the files of one test, and a TaggedFile on a real
// file manager.
class CompiledFileFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/oxin_compiled_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        directory_ = pattern;
    }
    void TearDown() override {
        std::string command = "rm -rf '" + directory_ + "'";
        ASSERT_EQ(system(command.c_str()), 0);
    }

    std::string Path(const std::string& name) { return directory_ + "/" + name; }
    void Put(const std::string& name, const Bytes& bytes) {
        std::ofstream out(Path(name), std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    Bytes Get(const std::string& name) {
        std::ifstream in(Path(name), std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    FileManager* manager() { return app_.filemanager(); }
    // Opens name for reading; false with the TaggedFile's error otherwise.
    bool OpenFile(TaggedFile& file, const std::string& name) {
        return file.Open(Path(name).c_str(), FileOpenRead);
    }
    std::string Text(TaggedFile& file) { return file.error().c_str(); }

    TestApplication app_;
    std::string directory_;
};

// A whole tagged file from a header and sections: the directory follows
// the sections, which are laid out from offset 32 in the order given.
struct RawSection {
    uint32_t id;
    Bytes bytes;
};

inline Bytes build_tagged_file(const std::vector<RawSection>& sections,
                               uint32_t version = 0x1000B) {
    Bytes out;
    append_u32(out, 0x6E69784F);
    append_u32(out, version);
    out.resize(24, 0);
    Bytes directory;
    uint32_t offset = 32;
    Bytes body;
    for (const RawSection& s : sections) {
        append_u32(directory, s.id);
        append_u32(directory, offset);
        append_u32(directory, static_cast<uint32_t>(s.bytes.size()));
        body.insert(body.end(), s.bytes.begin(), s.bytes.end());
        offset += static_cast<uint32_t>(s.bytes.size());
    }
    append_u32(out, offset);
    append_u32(out, static_cast<uint32_t>(sections.size()));
    out.insert(out.end(), body.begin(), body.end());
    out.insert(out.end(), directory.begin(), directory.end());
    return out;
}

// The bytes of the compiled file that writes "Hello", as the format
// defines them, spelled out by hand.
inline Bytes hello_file_bytes() {
    Bytes b = {0x4F, 0x78, 0x69, 0x6E, 0x0B, 0x00, 0x01, 0x00};
    b.resize(24, 0);
    append_u32(b, 0x71);
    append_u32(b, 7);
    Bytes dict = {1, 0, 0, 0, 5, 0, 0, 0,   0,   0,   0,   0,  0,
                  0, 0, 0, 5, 0, 0, 0, 'H', 'e', 'l', 'l', 'o'};
    Bytes empty_table = {0, 0, 8, 0, 0, 0, 0};
    Bytes locd = {0, 0, 0, 0};
    Bytes segs = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0x01, 0x40, 0, 0, 0, 0, 0x15, 0};
    for (const Bytes* s :
         {&dict, &empty_table, &empty_table, &empty_table, &locd, &segs, &empty_table}) {
        b.insert(b.end(), s->begin(), s->end());
    }
    const uint32_t directory[7][3] = {
        {0x74636964, 32, 25}, {0x74737973, 57, 7},  {0x6C626C67, 64, 7}, {0x6C636F6C, 71, 7},
        {0x64636F6C, 78, 4},  {0x73676573, 82, 24}, {0x636E7566, 106, 7}};
    for (const auto& entry : directory) {
        for (uint32_t word : entry)
            append_u32(b, word);
    }
    return b;
}
