#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "files/Dictionary.h"
#include "files/File.h"
#include "files/StoredHashTable.h"
#include "files/TaggedFile.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestApplication.h"

using Bytes = std::vector<unsigned char>;

inline const char kCorrupt[] = "File is either corrupt or not a valid compiled Oxin Script file";

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

inline std::string DictionaryText(const Dictionary& dictionary, int id) {
    int length = 0;
    const char* text = dictionary.Entry(id, &length);
    return text ? std::string(text, length) : std::string("<none>");
}

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
    Bytes directory, body;
    uint32_t offset = 32;
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

// A fresh directory for the files of one test, and TaggedFiles on a real
// file manager.
class CompiledFileFixture : public ::testing::Test {
  protected:
    std::string Path(const std::string& name) { return directory_.Path(name); }
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

    // The whole section id of the file name; {0xEE} when it cannot be read.
    Bytes SectionBytes(const std::string& name, uint32_t id) {
        TaggedFile reader(manager());
        int size = 0;
        if (!OpenFile(reader, name) || !reader.Section_Read_Start(id, &size)) return {0xEE};
        Bytes bytes(size);
        if (reader.Section_Read(bytes.data(), size) != size) return {0xEF};
        return bytes;
    }
    std::vector<uint32_t> SectionIds(const std::string& name) {
        TaggedFile reader(manager());
        EXPECT_TRUE(OpenFile(reader, name));
        std::vector<uint32_t> ids;
        for (int i = 0; i < reader.directory_entries(); i++)
            ids.push_back(reader.directory_entry(i)->id);
        return ids;
    }
    // Writes a file through the writer functions given, each taking the
    // TaggedFile and returning false on failure.
    template <class... Writers>
    void WriteFile(const std::string& name, uint32_t version, Writers... writers) {
        TaggedFile writer(manager());
        ASSERT_TRUE(writer.Create(Path(name).c_str(), nullptr, version)) << Text(writer);
        bool written[] = {writers(&writer)...};
        for (size_t i = 0; i < sizeof...(writers); i++)
            ASSERT_TRUE(written[i]) << "writer " << i;
        ASSERT_TRUE(writer.Section_Flush()) << Text(writer);
        writer.Close();
    }
    TestApplication app_;
    TempDirectory directory_;
};

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

// Every entry of a chained table (a variable hash, the function table, a
// localized table) lies in the chain of its name's bucket, and every chain
// runs by length, then case-insensitive bytes, equal names by entry number.
template <class Table, class NameOf>
void ExpectChainsOrdered(Table& table, int bits, NameOf name_of) {
    int seen = 0;
    for (int bucket = 0; bucket < table.buckets(); bucket++) {
        int previous = -1;
        for (int n = table.bucket_head(bucket); n != -1; n = table.next_link(n), seen++) {
            std::string name = name_of(n);
            int length = static_cast<int>(name.size());
            EXPECT_EQ(StoredHashTable::Bucket(name.data(), length, bits), bucket) << name;
            if (previous != -1) {
                std::string before = name_of(previous);
                int order = StoredHashTable::Compare(before.data(), static_cast<int>(before.size()),
                                                     name.data(), length);
                EXPECT_TRUE(order < 0 || (order == 0 && previous < n)) << before << " " << name;
            }
            previous = n;
        }
    }
    EXPECT_EQ(seen, table.Entries());
}

// Two chained tables with the same buckets, links and entry ids.
template <class TableA, class TableB, class IdOf>
void ExpectSameChains(TableA& a, TableB& b, IdOf id_of) {
    ASSERT_EQ(a.Entries(), b.Entries());
    ASSERT_EQ(a.buckets(), b.buckets());
    EXPECT_EQ(a.used_buckets(), b.used_buckets());
    for (int i = 0; i < a.buckets(); i++)
        ASSERT_EQ(a.bucket_head(i), b.bucket_head(i)) << "bucket " << i;
    for (int n = 0; n < a.Entries(); n++) {
        ASSERT_EQ(id_of(a, n), id_of(b, n)) << "entry " << n;
        ASSERT_EQ(a.next_link(n), b.next_link(n)) << "entry " << n;
    }
}
