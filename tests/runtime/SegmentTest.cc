// Code segments: bounds of reads, growth of writes, the manager's slots,
// the "segs" section both ways, and the listing.

#include <cmath>
#include <cstring>
#include <random>

#include "runtime/Instructions.h"
#include "base/LittleEndian.h"
#include "runtime/SegmentManager.h"
#include "tests/runtime/CompiledFileFixture.h"

namespace {

TEST(SegmentTest, ReadsStopAtCodeLength) {
    Segment s(3, 10);
    EXPECT_EQ(s.id(), 3);
    EXPECT_EQ(s.size(), 10);
    EXPECT_EQ(s.Code_Length(), 10);
    uint16_t word = 1;
    EXPECT_EQ(s.Read_Word(9, &word), -1);
    EXPECT_EQ(s.Read_Word(8, &word), 10);
    EXPECT_EQ(word, 0);
    uint8_t byte;
    EXPECT_EQ(s.Read_Byte(9, &byte), 10);
    EXPECT_EQ(s.Read_Byte(10, &byte), -1);
    EXPECT_EQ(s.Read_Byte(-1, &byte), -1);
    uint32_t dword;
    EXPECT_EQ(s.Read_Dword(6, &dword), 10);
    EXPECT_EQ(s.Read_Dword(7, &dword), -1);
    double value;
    EXPECT_EQ(s.Read_Double(2, &value), 10);
    EXPECT_EQ(s.Read_Double(3, &value), -1);

    Segment fresh(0);
    EXPECT_EQ(fresh.size(), 8192);
    EXPECT_EQ(fresh.Code_Length(), 0);
    EXPECT_EQ(fresh.Read_Byte(0, &byte), -1);
}

TEST(SegmentTest, WritesAreLittleEndianAndRaiseCodeLength) {
    Segment s(0);
    EXPECT_EQ(s.Write_Word(0, 0x4001), 2);
    EXPECT_EQ(s.Write_Dword(2, 0x11223344), 6);
    EXPECT_EQ(s.Write_Double(6, -2.5), 14);
    EXPECT_EQ(s.Write_Byte(14, 0x15), 15);
    EXPECT_EQ(s.Code_Length(), 15);
    const unsigned char expected[] = {0x01, 0x40, 0x44, 0x33, 0x22, 0x11, 0,   0,
                                      0,    0,    0,    0,    0x04, 0xC0, 0x15};
    EXPECT_EQ(memcmp(s.Code(), expected, sizeof expected), 0);
    double value = 0;
    EXPECT_EQ(s.Read_Double(6, &value), 14);
    EXPECT_EQ(value, -2.5);
    // A write inside the code leaves the length alone.
    EXPECT_EQ(s.Write_Byte(3, 9), 4);
    EXPECT_EQ(s.Code_Length(), 15);
    EXPECT_EQ(s.Write_Byte(-1, 9), -1);
    // A gap stays zero.
    EXPECT_EQ(s.Write_Byte(100, 7), 101);
    uint32_t dword = 1;
    EXPECT_EQ(s.Read_Dword(20, &dword), 24);
    EXPECT_EQ(dword, 0u);
}

TEST(SegmentTest, GrowthRules) {
    Segment s(0);
    // Ending exactly at the size reallocates to that size.
    EXPECT_EQ(s.Write_Dword(8188, 0xAABBCCDD), 8192);
    EXPECT_EQ(s.size(), 8192);
    EXPECT_EQ(s.Code_Length(), 8192);
    EXPECT_EQ(s.Write_Byte(8192, 1), 8193);
    EXPECT_EQ(s.size(), 16384);
    uint32_t dword;
    EXPECT_EQ(s.Read_Dword(8188, &dword), 8192);
    EXPECT_EQ(dword, 0xAABBCCDDu);
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

TEST(SegmentTest, RandomWritesMatchAByteModel) {
    std::mt19937 random(5);
    Segment s(0);
    std::vector<unsigned char> model;
    for (int step = 0; step < 3000; step++) {
        int offset = static_cast<int>(random() % 30000);
        uint32_t value = static_cast<uint32_t>(random());
        int kind = static_cast<int>(random() % 3);
        int width = kind == 0 ? 1 : kind == 1 ? 2 : 4;
        int next = kind == 0   ? s.Write_Byte(offset, static_cast<uint8_t>(value))
                   : kind == 1 ? s.Write_Word(offset, static_cast<uint16_t>(value))
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
    EXPECT_EQ(m.Segment_Get(-1), nullptr);
    EXPECT_EQ(m.Segment_Get(1), nullptr);
    Segment* start = m.Start();
    ASSERT_NE(start, nullptr);
    EXPECT_EQ(start->id(), 0);
    EXPECT_EQ(m.Segment_Get(0), start);
    EXPECT_EQ(m.Start(), start);
    for (int id = 1; id <= 130; id++) {
        Segment* s = m.Segment_Add();
        ASSERT_EQ(s->id(), id);
        ASSERT_EQ(m.Segment_Get(id), s);
    }
    EXPECT_EQ(m.count(), 131);
    EXPECT_EQ(m.capacity(), 192);
    EXPECT_EQ(m.Segment_Get(131), nullptr);

    m.Segment_Get(7)->Write_Word(0, 0x15);
    SegmentManager copy(m);
    EXPECT_EQ(copy.count(), 131);
    EXPECT_NE(copy.Segment_Get(7), m.Segment_Get(7));
    uint16_t word = 0;
    EXPECT_EQ(copy.Segment_Get(7)->Read_Word(0, &word), 2);
    EXPECT_EQ(word, 0x15);

    SegmentManager fresh;
    EXPECT_EQ(fresh.Segment_Add()->id(), 1);
}

class SegmentFileTest : public CompiledFileFixture {};

TEST_F(SegmentFileTest, SegsRoundTrip) {
    std::mt19937 random(9);
    SegmentManager m;
    std::vector<std::vector<unsigned char>> model(1);
    m.Start()->Write_Word(0, Op_out);
    model[0] = {0x15, 0};
    for (int id = 1; id < 70; id++) {
        Segment* s = m.Segment_Add();
        std::vector<unsigned char> bytes(random() % 300);
        for (auto& b : bytes)
            b = static_cast<unsigned char>(random());
        for (size_t i = 0; i < bytes.size(); i++)
            s->Write_Byte(static_cast<int>(i), bytes[i]);
        model.push_back(bytes);
    }
    TaggedFile writer(manager());
    ASSERT_TRUE(writer.Create(Path("s.oxc").c_str()));
    ASSERT_TRUE(m.Write(&writer)) << m.error().c_str();
    ASSERT_TRUE(writer.Section_Flush());
    writer.Close();

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
        ASSERT_EQ(s->Code_Length(), static_cast<int>(model[id].size()));
        EXPECT_EQ(s->size(), s->Code_Length());
        if (!model[id].empty()) {
            EXPECT_EQ(memcmp(s->Code(), model[id].data(), model[id].size()), 0) << id;
        }
    }
    EXPECT_EQ(back.Segment_Add()->id(), 70);
    EXPECT_EQ(back.capacity(), 134);
}

TEST_F(SegmentFileTest, ShortOrDamagedSegsSectionsFail) {
    Bytes good;
    append_u32(good, 2);
    append_u32(good, 1);
    append_u32(good, 0);
    append_u32(good, 2);
    append_u32(good, 2);
    append_u32(good, 3);
    append_text(good, "abcde");
    Put("good", build_tagged_file({{kSectionSegs, good}}));
    TaggedFile file(manager());
    SegmentManager m;
    ASSERT_TRUE(OpenFile(file, "good"));
    ASSERT_TRUE(m.Read(&file)) << m.error().c_str();
    EXPECT_EQ(m.start(), 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m.Start()->Code()), 3), "cde");

    std::vector<Bytes> bad;
    for (size_t cut : {0ul, 7ul, 8ul, 23ul, 24ul, good.size() - 1}) {
        bad.emplace_back(good.begin(), good.begin() + cut);
    }
    Bytes far = good;
    put_u32(far.data() + 16, 0xFFFFFFF0);  // second segment's offset
    bad.push_back(far);
    Bytes long_code = good;
    put_u32(long_code.data() + 20, 0x7FFFFFFF);
    bad.push_back(long_code);
    Bytes many = good;
    put_u32(many.data(), 0x20000000);
    bad.push_back(many);
    for (size_t i = 0; i < bad.size(); i++) {
        Put("bad", build_tagged_file({{kSectionSegs, bad[i]}}));
        ASSERT_TRUE(OpenFile(file, "bad"));
        EXPECT_FALSE(m.Read(&file)) << i;
        EXPECT_GT(m.error().length(), 0) << i;
        EXPECT_EQ(m.count(), 2) << i;  // unchanged
    }
}

std::string dump_of(const Segment& s, const std::string& path, const char* text) {
    s.Dump(path.c_str(), text, static_cast<int>(strlen(text)));
    FILE* in = fopen(path.c_str(), "r");
    if (!in) return "<none>";
    std::string out;
    char buffer[256];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, in)) > 0)
        out.append(buffer, n);
    fclose(in);
    return out;
}

TEST_F(SegmentFileTest, DumpListsNamesOperandsAndIllegalNumbers) {
    Segment s(0);
    int at = 0;
    at = s.Write_Word(at, Op_pushc);
    at = s.Write_Dword(at, 7);
    at = s.Write_Word(at, Op_pushf);
    at = s.Write_Double(at, 1.5);
    at = s.Write_Word(at, Op_cmpgi);
    at = s.Write_Dword(at, 3);
    at = s.Write_Dword(at, static_cast<uint32_t>(-4));
    at = s.Write_Word(at, Op_out);
    at = s.Write_Word(at, Op_op_export);
    at = s.Write_Word(at, Op_exit);
    at = s.Write_Word(at, Op_exit_alt);  // unknown to the listing
    at = s.Write_Word(at, Op_poprg);     // unknown, and its dword is skipped
    at = s.Write_Dword(at, 0x0015);
    at = s.Write_Word(at, 2);       // no such instruction
    at = s.Write_Word(at, 0x2000);  // no name, a second double operand
    at = s.Write_Double(at, 0.25);
    at = s.Write_Word(at, Op_jmp);
    at = s.Write_Byte(at, 1);  // operand cut off: the listing ends
    std::string expected =
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
        "52\tjmp\t";
    EXPECT_EQ(dump_of(s, Path("listing"), "a > 1"), expected);

    // A dangling byte after the last whole instruction ends the listing.
    Segment odd(1);
    odd.Write_Word(0, Op_retn);
    odd.Write_Byte(2, 0x15);
    EXPECT_EQ(dump_of(odd, Path("odd"), ""), "\n\nExpression: \n0\tretn\t\n");
    // An unwritable path writes nothing and does not fail.
    s.Dump(Path("no/such/dir").c_str(), "x", 1);
}

}  // namespace
