// Code segments: bounds of reads, growth of writes, the manager's slots,
// the "segs" section both ways, and the listing.

#include <cstring>
#include <fstream>
#include <random>

#include "base/LittleEndian.h"
#include "runtime/Instructions.h"
#include "runtime/SegmentManager.h"
#include "tests/support/CompiledFileFixture.h"

namespace {

TEST(SegmentTest, ReadsStopAtCodeLengthWritesRaiseIt) {
    Segment s(3, 10);
    EXPECT_EQ(s.Code_Length(), 10);
    uint16_t word = 1;
    uint8_t byte;
    uint32_t dword;
    double value;
    EXPECT_EQ(s.Read_Word(9, &word), -1);
    EXPECT_EQ(s.Read_Word(8, &word), 10);
    EXPECT_EQ(word, 0);
    EXPECT_EQ(s.Read_Byte(9, &byte), 10);
    EXPECT_EQ(s.Read_Byte(10, &byte), -1);
    EXPECT_EQ(s.Read_Byte(-1, &byte), -1);
    EXPECT_EQ(s.Read_Dword(6, &dword), 10);
    EXPECT_EQ(s.Read_Dword(7, &dword), -1);
    EXPECT_EQ(s.Read_Double(2, &value), 10);
    EXPECT_EQ(s.Read_Double(3, &value), -1);
    Segment fresh(0);
    EXPECT_EQ(fresh.size(), 8192);
    EXPECT_EQ(fresh.Read_Byte(0, &byte), -1);
    // Writes are little-endian and raise the code length.
    EXPECT_EQ(fresh.Write_Word(0, 0x4001), 2);
    EXPECT_EQ(fresh.Write_Dword(2, 0x11223344), 6);
    EXPECT_EQ(fresh.Write_Double(6, -2.5), 14);
    EXPECT_EQ(fresh.Write_Byte(14, 0x15), 15);
    EXPECT_EQ(fresh.Code_Length(), 15);
    const unsigned char expected[] = {0x01, 0x40, 0x44, 0x33, 0x22, 0x11, 0,   0,
                                      0,    0,    0,    0,    0x04, 0xC0, 0x15};
    EXPECT_EQ(memcmp(fresh.Code(), expected, sizeof expected), 0);
    EXPECT_EQ(fresh.Read_Double(6, &value), 14);
    EXPECT_EQ(value, -2.5);
    EXPECT_EQ(fresh.Write_Byte(-1, 9), -1);
}

TEST(SegmentTest, GrowthRules) {
    Segment s(0);
    // Ending exactly at the size reallocates to that size.
    EXPECT_EQ(s.Write_Dword(8188, 0xAABBCCDD), 8192);
    EXPECT_EQ(s.size(), 8192);
    EXPECT_EQ(s.Write_Byte(8192, 1), 8193);
    EXPECT_EQ(s.size(), 16384);
    EXPECT_EQ(s.Write_Double(40000, 1.0), 40008);
    EXPECT_EQ(s.size(), 40960);
    // Beyond the code and within the block, all zero.
    for (int i = 40008; i < s.size(); i++)
        ASSERT_EQ(s.Code()[i], 0) << i;

    Segment loaded(0, 100);
    EXPECT_EQ(loaded.Write_Byte(100, 1), 101);
    EXPECT_EQ(loaded.size(), 8192);
    loaded.Grow(16384);
    EXPECT_EQ(loaded.size(), 16384);
    loaded.Grow(16385);
    EXPECT_EQ(loaded.size(), 24576);
    EXPECT_EQ(loaded.Code_Length(), 101);
    Segment copy(loaded);
    EXPECT_EQ(copy.size(), loaded.size());
    EXPECT_EQ(copy.Code_Length(), 101);
    EXPECT_EQ(memcmp(copy.Code(), loaded.Code(), loaded.size()), 0);
    EXPECT_NE(copy.Code(), loaded.Code());
}

// Writes inside and beyond the code, gaps left zero, growth in blocks.
TEST(SegmentTest, RandomWritesMatchAByteModel) {
    std::mt19937 random(5);
    Segment s(0);
    std::vector<unsigned char> model;
    for (int step = 0; step < 3000; step++) {
        int offset = static_cast<int>(random() % 30000);
        uint32_t value = static_cast<uint32_t>(random());
        int width = 1 << (random() % 3);
        int next = width == 1   ? s.Write_Byte(offset, static_cast<uint8_t>(value))
                   : width == 2 ? s.Write_Word(offset, static_cast<uint16_t>(value))
                                : s.Write_Dword(offset, value);
        ASSERT_EQ(next, offset + width);
        if (model.size() < static_cast<size_t>(next)) model.resize(next, 0);
        for (int i = 0; i < width; i++)
            model[offset + i] = static_cast<unsigned char>(value >> (8 * i));
        ASSERT_EQ(s.Code_Length(), static_cast<int>(model.size()));
        ASSERT_EQ(s.size() % 8192, 0);
        ASSERT_GE(s.size(), s.Code_Length());
    }
    ASSERT_EQ(memcmp(s.Code(), model.data(), model.size()), 0);
}

TEST(SegmentManagerTest, SlotsStartAndAdd) {
    SegmentManager m;
    EXPECT_EQ(m.count(), 1);
    EXPECT_EQ(m.Segment_Get(0), nullptr);  // until Start() runs
    Segment* start = m.Start();
    ASSERT_NE(start, nullptr);
    EXPECT_EQ(m.Segment_Get(0), start);
    EXPECT_EQ(m.Start(), start);
    for (int id = 1; id <= 130; id++) {
        Segment* s = m.Segment_Add();
        ASSERT_EQ(s->id(), id);
        ASSERT_EQ(m.Segment_Get(id), s);
    }
    EXPECT_EQ(m.capacity(), 192);
    EXPECT_EQ(m.Segment_Get(131), nullptr);
    EXPECT_EQ(m.Segment_Get(-1), nullptr);
    m.Segment_Get(7)->Write_Word(0, 0x15);
    SegmentManager copy(m);
    EXPECT_EQ(copy.count(), 131);
    EXPECT_NE(copy.Segment_Get(7), m.Segment_Get(7));
    EXPECT_EQ(memcmp(copy.Segment_Get(7)->Code(), "\x15\0", 2), 0);
}

class SegmentFileTest : public CompiledFileFixture {
  protected:
    bool ReadSegs(SegmentManager& m, const Bytes& section) {
        Put("s.oxc", build_tagged_file({{kSectionSegs, section}}));
        TaggedFile file(manager());
        return OpenFile(file, "s.oxc") && m.Read(&file);
    }
};

TEST_F(SegmentFileTest, SegsRoundTrip) {
    std::mt19937 random(9);
    SegmentManager m;
    std::vector<Bytes> model = {{0x15, 0}};
    m.Start()->Write_Word(0, Op_out);
    for (int id = 1; id < 70; id++) {
        Segment* s = m.Segment_Add();
        Bytes bytes(random() % 300);
        for (size_t i = 0; i < bytes.size(); i++)
            s->Write_Byte(static_cast<int>(i), bytes[i] = static_cast<unsigned char>(random()));
        model.push_back(bytes);
    }
    WriteFile("s.oxc", 0x1000B, [&m](TaggedFile* f) { return m.Write(f); });
    TaggedFile reader(manager());
    ASSERT_TRUE(OpenFile(reader, "s.oxc")) << Text(reader);
    SegmentManager back;
    ASSERT_TRUE(back.Read(&reader)) << back.error().c_str();
    EXPECT_EQ(back.count(), 70);
    EXPECT_EQ(back.capacity(), 70);
    EXPECT_EQ(back.start(), 0);
    for (int id = 0; id < 70; id++) {
        Segment* s = back.Segment_Get(id);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->id(), id);
        EXPECT_EQ(s->size(), s->Code_Length());
        EXPECT_EQ(Bytes(s->Code(), s->Code() + s->Code_Length()), model[id]) << id;
    }
    EXPECT_EQ(back.Segment_Add()->id(), 70);
    EXPECT_EQ(back.capacity(), 134);
}

std::string dump_of(const Segment& s, const std::string& path, const char* text) {
    s.Dump(path.c_str(), text, static_cast<int>(strlen(text)));
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST_F(SegmentFileTest, DumpListsNamesOperandsAndIllegalNumbers) {
    Segment s(0);
    int at = 0;
    at = s.Write_Dword(s.Write_Word(at, Op_pushc), 7);
    at = s.Write_Double(s.Write_Word(at, Op_pushf), 1.5);
    at = s.Write_Dword(s.Write_Dword(s.Write_Word(at, Op_cmpgi), 3), static_cast<uint32_t>(-4));
    at = s.Write_Word(at, Op_out);
    at = s.Write_Word(at, Op_op_export);
    at = s.Write_Word(at, Op_exit);
    at = s.Write_Word(at, Op_exit_alt);                      // unknown to the listing
    at = s.Write_Dword(s.Write_Word(at, Op_poprg), 0x0015);  // unknown, its dword skipped
    at = s.Write_Word(at, 2);                                // no such instruction
    at = s.Write_Double(s.Write_Word(at, 0x2000), 0.25);     // no name, a double operand
    s.Write_Byte(s.Write_Word(at, Op_jmp), 1);               // operand cut off: the end
    EXPECT_EQ(dump_of(s, Path("listing"), "a > 1"),
              "\n\nExpression: a > 1\n"
              "0\tpushc\tdword:7\n"
              "6\tpushf\tdouble:1.500000\n"
              "16\tcmpgi\tdword:3, dword:-4\n"
              "26\tout\t\n"
              "28\texport\t\n"
              "30\texit\t\n"
              "32\tIllegal Instruction\n"
              "34\tIllegal Instruction\n"
              "40\tIllegal Instruction\n"
              "42\tIllegal Instruction\n"
              "52\tjmp\t");
    // A dangling byte after the last whole instruction ends the listing.
    Segment odd(1);
    odd.Write_Byte(odd.Write_Word(0, Op_retn), 0x15);
    EXPECT_EQ(dump_of(odd, Path("odd"), ""), "\n\nExpression: \n0\tretn\t\n");
    // An unwritable path writes nothing and does not fail.
    s.Dump(Path("no/such/dir").c_str(), "x", 1);
}

}  // namespace
