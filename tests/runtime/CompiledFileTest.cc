// A whole compiled file through the writer classes, the stored hash-table
// record, and the instruction table.

#include <set>

#include "base/LittleEndian.h"
#include "runtime/Instructions.h"
#include "runtime/SegmentManager.h"
#include "tests/support/CompiledFileFixture.h"

namespace {

class CompiledFileTest : public CompiledFileFixture {};

TEST_F(CompiledFileTest, WriterClassesProduceTheHelloFile) {
    Dictionary dictionary;
    ASSERT_EQ(dictionary.Entry_Add("Hello"), 0);
    SegmentManager segments;
    Segment* start = segments.Start();
    start->Write_Word(start->Write_Dword(start->Write_Word(0, Op_pushc), 0), Op_out);
    StoredHashTable empty(8);
    auto table = [&empty](uint32_t id) {
        return [&empty, id](TaggedFile* f) { return f->Section_Start(id) && empty.Write(f); };
    };
    WriteFile(
        "hello.oxc", 0x1000B, [&](TaggedFile* f) { return dictionary.Write(f); },
        table(kSectionSyst), table(kSectionGlbl), table(kSectionLocl),
        [](TaggedFile* f) {
            return f->Section_Start(kSectionLocd) && StoredHashTable::Write_U32(f, 0);
        },
        [&](TaggedFile* f) { return segments.Write(f); }, table(kSectionFunc));
    EXPECT_EQ(Get("hello.oxc"), hello_file_bytes());
}

class StoredHashTableTest : public CompiledFileFixture {
  protected:
    bool ReadTable(StoredHashTable& table, const Bytes& section, int entry_size,
                   int head_size = StoredHashTable::kHeadSize) {
        Put("t", build_tagged_file({{kSectionGlbl, section}}));
        TaggedFile file(manager());
        if (!OpenFile(file, "t") || !file.Section_Read_Start(kSectionGlbl)) return false;
        return table.Read(&file, entry_size, head_size);
    }
};

// Tables of every kind round-trip in the tests of their owners (variable
// hashes byte for byte against a model, functions, token indexes); here the
// limits and the damage.
TEST_F(StoredHashTableTest, LimitsAndDamagedTables) {
    auto table_bytes = [](int used, int bits, uint32_t entries, std::vector<int> buckets) {
        Bytes out;
        append_u16(out, static_cast<uint16_t>(used));
        out.push_back(static_cast<unsigned char>(bits));
        append_u32(out, entries);
        for (size_t i = 0; i < buckets.size(); i += 2) {
            append_u16(out, static_cast<uint16_t>(buckets[i]));
            append_u32(out, static_cast<uint32_t>(buckets[i + 1]));
        }
        return out;
    };
    StoredHashTable t;
    // H = 0: one bucket, and it works.
    Bytes one = table_bytes(1, 0, 1, {0, 0});
    append_u32(one, 5);
    append_u32(one, 0xFFFFFFFF);
    ASSERT_TRUE(ReadTable(t, one, 8));
    EXPECT_EQ(t.buckets(), 1);
    EXPECT_EQ(t.head(0), 0);
    EXPECT_EQ(t.head(1), -1);
    ASSERT_TRUE(ReadTable(t, table_bytes(0, 16, 0, {}), 8));  // the most bits
    EXPECT_EQ(t.buckets(), 65536);

    struct Case {
        Bytes bytes;
        int entry_size;
    } cases[] = {
        {table_bytes(0, 17, 0, {}), 8},           // too many bits
        {table_bytes(1, 2, 1, {4, 0}), 0},        // bucket beyond the table
        {table_bytes(1, 2, 1, {1, 1}), 0},        // chain head not below E
        {table_bytes(0, 8, 0x80000000u, {}), 0},  // E beyond an int
        {table_bytes(0, 8, 100, {}), 8},          // entries cannot fit
        {table_bytes(3, 8, 0, {1, 0}), 0},        // bucket records cut off
    };
    for (size_t i = 0; i < std::size(cases); i++) {
        EXPECT_FALSE(ReadTable(t, cases[i].bytes, cases[i].entry_size)) << i;
        EXPECT_STREQ(t.error().c_str(), kCorrupt) << i;
        EXPECT_EQ(t.entries(), 0) << i;
    }
    // A head shorter than 7 (or 11) bytes fails.
    Bytes six = table_bytes(0, 8, 0, {});
    six.pop_back();
    EXPECT_FALSE(ReadTable(t, six, 0));
    EXPECT_FALSE(ReadTable(t, table_bytes(0, 8, 0, {}), 0, StoredHashTable::kTokenIndexHeadSize));
}

// The lengths of the common operand kinds show in the offsets of the
// segment listing; here the rarer bit patterns.
TEST(InstructionsTest, TableHoldsEveryNumberOnce) {
    EXPECT_EQ(Instructions::First_Operand(0xC000), OperandNone);
    EXPECT_EQ(Instructions::Second_Operand(0x3000), OperandNone);
    EXPECT_EQ(Instructions::Length(0xA000), 18);
    int count = 0;
    const Instruction_Info* table = Instructions::Table(&count);
    EXPECT_EQ(count, 147);
    std::set<std::string> mnemonics;
    std::set<int> unknown_to_listing;
    for (int i = 0; i < count; i++) {
        if (i > 0) {
            EXPECT_LT(table[i - 1].number, table[i].number);
        }
        EXPECT_TRUE(mnemonics.insert(table[i].mnemonic).second) << table[i].mnemonic;
        EXPECT_EQ(Instructions::Lookup(table[i].number), &table[i]);
        EXPECT_EQ(Instructions::Lookup(table[i].mnemonic), &table[i]);
        if (!table[i].listing) unknown_to_listing.insert(table[i].number);
    }
    // Every other number is illegal, the gaps included.
    int legal = 0;
    for (int word = 0; word < 0x10000; word++)
        legal += Instructions::Lookup(word) != nullptr;
    EXPECT_EQ(legal, count);
    EXPECT_EQ(Instructions::Lookup("nope"), nullptr);
    EXPECT_EQ(Instructions::Lookup("pushc", 4), nullptr);
    // The listing shows these as illegal.
    EXPECT_EQ(unknown_to_listing,
              (std::set<int>{63,  65,  82,    85,    88,    89,    91,    278,   534,   535,  536,
                             537, 538, 16467, 16468, 16470, 16658, 16661, 20572, 20755, 20756}));
    EXPECT_STREQ(Instructions::Lookup(Op_op_export)->name, "op_export");
    EXPECT_STREQ(Instructions::Lookup(Op_exit_alt)->name, "exit");
    EXPECT_STREQ(Instructions::Lookup(Op_dbopen1)->name, "dbopen");
    EXPECT_STREQ(Instructions::Lookup(Op_op_http_counted)->name, "op_http");
    // Spot checks of numbers against the instruction set.
    const std::pair<int, int> numbers[] = {
        {Op_pushc, 16385},   {Op_pushf, 32771},    {Op_poplvnc, 16461},         {Op_swapn, 20572},
        {Op_storegi, 21253}, {Op_call, 16445},     {Op_tagerror, 20555},        {Op_async, 16661},
        {Op_dbcommand, 538}, {Op_pop3stop, 16649}, {Op_op_commerce_stop, 16657}};
    for (auto [op, number] : numbers)
        EXPECT_EQ(op, number);
}

}  // namespace
