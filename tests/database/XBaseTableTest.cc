#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>

#include "database/XBaseMemoField.h"
#include "tests/database/TableFixture.h"

namespace {

const std::vector<FieldSpec> kPeople = {
    {"NAME", 'C', 10, 0}, {"AMOUNT", 'N', 8, 2}, {"BORN", 'D', 8, 0},
    {"OK", 'L', 1, 0},    {"NOTES", 'M', 10, 0},
};

std::string Today() {
    time_t now = time(nullptr);
    struct tm utc;
    gmtime_r(&now, &utc);
    return std::string{static_cast<char>(utc.tm_year & 0xFF), static_cast<char>(utc.tm_mon + 1),
                       static_cast<char>(utc.tm_mday)};
}

std::string Descriptor(const std::string& name, char type, int length, int decimals) {
    std::string d(32, '\0');
    d.replace(0, name.size(), name);
    d[11] = type;
    d[16] = static_cast<char>(length);
    d[17] = static_cast<char>(decimals);
    return d;
}

using XBaseTableTest = TableFixture;

// A new table is the header, the descriptors, 0x0D and 0x1A, byte for byte,
// and its memo file the 512-byte header with next free block 1 and 0x1A.
TEST_F(XBaseTableTest, CreatedFilesHoldExactlyTheFormat) {
    XBaseTable table(&app_);
    Create(table, "people.dbf", kPeople);
    std::string expected = std::string("\x83") + Today() + U32(0) + U16(33 + 5 * 32) +
                           U16(1 + 10 + 8 + 8 + 1 + 10) + std::string(20, '\0') +
                           Descriptor("NAME", 'C', 10, 0) + Descriptor("AMOUNT", 'N', 8, 2) +
                           Descriptor("BORN", 'D', 8, 0) + Descriptor("OK", 'L', 1, 0) +
                           Descriptor("NOTES", 'M', 10, 0) + "\x0D\x1A";
    EXPECT_EQ(Bytes("people.dbf"), expected);
    EXPECT_EQ(Bytes("people.dbt"), U32(1) + std::string(508, '\0') + "\x1A");
    EXPECT_STREQ(table.memopath().c_str(), "people.dbt");
    EXPECT_EQ(table.version(), 131);

    XBaseTable plain(&app_);
    Create(plain, "empty.dbf", {});
    EXPECT_EQ(Bytes("empty.dbf"), std::string("\x03") + Today() + U32(0) + U16(33) + U16(1) +
                                      std::string(20, '\0') + "\x0D\x1A");
    EXPECT_EQ(Bytes("empty.dbt"), "");  // no memo field, no memo file
    XBaseTable reopened(&app_);
    ASSERT_TRUE(Open(reopened, "empty.dbf")) << reopened.error().c_str();
    EXPECT_EQ(reopened.fields().Entries(), 0);
    EXPECT_EQ(reopened.recordlength(), 1);
}

// Values are stored justified and padded as their type says and come back
// stripped; the first append overwrites the end mark and writes a new one.
TEST_F(XBaseTableTest, RecordsRoundTripInTheirStoredForms) {
    XBaseTable table(&app_);
    Create(table, "people.dbf", kPeople);
    AppendRow(table, {"Ann", "12.50", "19960501", "T", ""});
    AppendRow(table, {"Exactly10!", "-3", "        ", "F", ""});
    AppendRow(table, {"Much longer than ten", "", "", "?", ""});
    EXPECT_EQ(table.numrecords(), 3);
    EXPECT_EQ(table.recordnum(), 3);

    std::string bytes = Bytes("people.dbf");
    const int header = 33 + 5 * 32;
    const int record = 38;
    ASSERT_EQ(bytes.size(), static_cast<size_t>(header + 3 * record + 1));
    EXPECT_EQ(bytes.substr(header, record), " Ann          12.5019960501T          ");
    EXPECT_EQ(bytes.substr(header + record, record), " Exactly10!      -3        F          ");
    EXPECT_EQ(bytes.substr(header + 2 * record, record), " Much longe                ?          ");
    EXPECT_EQ(bytes.back(), '\x1A');
    EXPECT_EQ(bytes.substr(4, 4), U32(3));

    XBaseTable reader(&app_);
    ASSERT_TRUE(Open(reader, "people.dbf")) << reader.error().c_str();
    ASSERT_TRUE(reader.Goto(2));
    EXPECT_STREQ(Field(reader, 0)->data(), "Exactly10!");
    EXPECT_STREQ(Field(reader, 1)->data(), "-3");
    EXPECT_STREQ(Field(reader, 2)->data(), "        ");  // dates are not stripped
    EXPECT_STREQ(Field(reader, 3)->data(), "F");
    ASSERT_TRUE(reader.Goto(3));
    EXPECT_STREQ(Field(reader, 0)->data(), "Much longe");
    EXPECT_STREQ(Field(reader, 1)->data(), "");  // all blanks read as empty
    EXPECT_STREQ(Field(reader, 0)->original(), "Much longe");

    // Update rewrites the record in place; the original follows the write.
    Field(reader, 0)->Set(String("Bea"));
    EXPECT_STREQ(Field(reader, 0)->original(), "Much longe");
    ASSERT_TRUE(reader.Update()) << reader.error().c_str();
    EXPECT_STREQ(Field(reader, 0)->original(), "Bea");
    EXPECT_EQ(Bytes("people.dbf").substr(header + 2 * record, record),
              " Bea                       ?          ");
    EXPECT_EQ(Bytes("people.dbf").size(), bytes.size());
}

TEST_F(XBaseTableTest, GotoRefusesRecordsThatDoNotExistAndSeesOthersAppends) {
    XBaseTable writer(&app_), reader(&app_);
    Create(writer, "t.dbf", {{"N", 'C', 4, 0}});
    AppendRow(writer, {"one"});
    ASSERT_TRUE(Open(reader, "t.dbf"));
    ASSERT_TRUE(reader.Goto(1));
    for (int bad : {0, -1, 2}) {
        EXPECT_FALSE(reader.Goto(bad)) << bad;
        EXPECT_STREQ(reader.error().c_str(), "Invalid record number");
        EXPECT_EQ(reader.recordnum(), 1);
    }
    AppendRow(writer, {"two"});
    EXPECT_EQ(reader.numrecords(), 1);
    ASSERT_TRUE(reader.Goto(2)) << reader.error().c_str();
    EXPECT_STREQ(Field(reader, 0)->data(), "two");
    EXPECT_EQ(reader.numrecords(), 2);

    // Another process's append is kept when this one rewrites the header.
    AppendRow(writer, {"three"});
    Field(reader, 0)->Set(String("TWO"));
    ASSERT_TRUE(reader.Update());
    XBaseTable check(&app_);
    ASSERT_TRUE(Open(check, "t.dbf"));
    EXPECT_EQ(check.numrecords(), 3);
}

// Marking a record deleted changes its flag byte and the header's date, and
// leaves pending edits of the fields unwritten.
TEST_F(XBaseTableTest, DeletionChangesOneByte) {
    XBaseTable table(&app_);
    Create(table, "t.dbf", {{"N", 'C', 4, 0}});
    AppendRow(table, {"a"});
    AppendRow(table, {"b"});
    std::string before = Bytes("t.dbf").replace(1, 3, "\x50\x01\x01");  // an old date
    Put("t.dbf", before);
    ASSERT_TRUE(table.Goto(1));
    Field(table, 0)->Set(String("zzz"));
    ASSERT_TRUE(table.UpdateDeleted(1)) << table.error().c_str();
    const int header = 33 + 32;
    std::string expected = before.replace(1, 3, Today());
    expected[header] = '*';
    EXPECT_EQ(Bytes("t.dbf"), expected);
    XBaseTable reader(&app_);
    ASSERT_TRUE(Open(reader, "t.dbf"));
    ASSERT_TRUE(reader.Goto(1));
    EXPECT_EQ(reader.deleted(), 1);
    EXPECT_STREQ(Field(reader, 0)->data(), "a");
    EXPECT_EQ(reader.numrecords(), 2);
    ASSERT_TRUE(reader.UpdateDeleted(0));
    EXPECT_EQ(Bytes("t.dbf")[header], ' ');
}

// Memo texts go to new 512-byte blocks at the end of the memo file, ended by
// two 0x1A bytes; an unchanged memo keeps its block.
TEST_F(XBaseTableTest, MemoBlocksAreAllocatedAtTheEnd) {
    XBaseTable table(&app_);
    Create(table, "m.dbf", {{"ID", 'N', 4, 0}, {"TEXT", 'M', 10, 0}});
    std::string exact(510, 'a'), over(511, 'b'), large(5000, 'c');
    for (int i = 0; i < 5000; i++)
        large[i] = static_cast<char>('a' + i % 26);
    AppendRow(table, {"1", exact});
    EXPECT_EQ(table.firstfreeblock(), 2);  // 510 + 2 fills one block
    AppendRow(table, {"2", over});
    EXPECT_EQ(table.firstfreeblock(), 4);  // 511 + 2 needs two
    AppendRow(table, {"3", large});
    AppendRow(table, {"4", ""});
    EXPECT_EQ(table.firstfreeblock(), 4 + 10);

    std::string memo = Bytes("m.dbt");
    EXPECT_EQ(memo.substr(0, 4), U32(14));
    EXPECT_EQ(memo.substr(512, 512), exact + "\x1A\x1A");
    EXPECT_EQ(memo.substr(1024, 513), over + "\x1A\x1A");
    std::string data = Bytes("m.dbf");
    int header = 33 + 64;
    EXPECT_EQ(data.substr(header, 15), "    1         1");
    EXPECT_EQ(data.substr(header + 15 * 3, 15), "    4          ");  // empty: all blanks

    XBaseTable reader(&app_);
    ASSERT_TRUE(Open(reader, "m.dbf")) << reader.error().c_str();
    EXPECT_EQ(reader.firstfreeblock(), 14);
    for (int record = 1; record <= 4; record++) {
        ASSERT_TRUE(reader.Goto(record));
        auto* field = static_cast<XBaseMemoField*>(Field(reader, 1));
        const std::string expected[] = {exact, over, large, ""};
        const char* text = field->data();
        EXPECT_EQ(std::string(text, field->textlength()), expected[record - 1]);
    }

    // Unchanged: the block stays. Changed: a new block, the old one stays dead.
    ASSERT_TRUE(reader.Goto(1));
    Field(reader, 0)->Set(String("11"));
    ASSERT_TRUE(reader.Update());
    EXPECT_EQ(Bytes("m.dbf").substr(header, 15), "   11         1");
    Field(reader, 1)->Set(String("short"));
    ASSERT_TRUE(reader.Update());
    EXPECT_EQ(Bytes("m.dbf").substr(header, 15), "   11        14");
    EXPECT_EQ(Bytes("m.dbt").substr(512, 10), exact.substr(0, 10));

    // A 0x1A inside a memo ends it on the next read.
    Field(reader, 1)->Set(String("before\032after"));
    ASSERT_TRUE(reader.Update());
    ASSERT_TRUE(reader.Goto(1));
    EXPECT_STREQ(Field(reader, 1)->data(), "before");
}

TEST_F(XBaseTableTest, OpeningDamagedOrForeignFilesFailsWithTheReason) {
    std::string header =
        std::string("\x03") + Today() + U32(0) + U16(65) + U16(2) + std::string(20, '\0');
    // An error that ends in a blank goes on with the system's text. A record
    // length too short for the fields would read past the record; a table
    // that says 3 but has a memo field needs its memo file.
    const struct {
        const char* name;
        std::string bytes;  // none: no file
        std::string error;
    } cases[] = {
        {"missing.dbf", "", "Error opening 'missing.dbf': "},
        {"foxpro.dbf", "\x30" + header.substr(1) + Descriptor("A", 'C', 1, 0) + "\x0D",
         "'foxpro.dbf': Unsupported xBase file version (0x30)"},
        {"float.dbf", header + Descriptor("RATE", 'F', 1, 0) + "\x0D",
         "'float.dbf' contains an unsupported field (RATE) of type 'F'"},
        {"short.dbf", header.substr(0, 8) + U16(32) + U16(1) + std::string(20, '\0'),
         "Error reading from 'short.dbf': "},
        {"cut.dbf", header.substr(0, 20), "Error reading from 'cut.dbf': "},
        {"narrow.dbf", header + Descriptor("A", 'C', 40, 0) + "\x0D",
         "'narrow.dbf' is corrupt (its fields are longer than its records)"},
        {"memo3.dbf",
         header.substr(0, 10) + U16(11) + std::string(20, '\0') + Descriptor("M", 'M', 10, 0) +
             "\x0D\x1A",
         "Error opening 'memo3.dbt': "},
    };
    XBaseTable table(&app_);
    for (const auto& c : cases) {
        if (!c.bytes.empty()) Put(c.name, c.bytes);
        EXPECT_FALSE(Open(table, c.name));
        std::string error = table.error().c_str();
        EXPECT_EQ(c.error.back() == ' ' ? error.substr(0, c.error.size()) : error, c.error)
            << c.name;
    }
    Put("memo3.dbt", U32(1) + std::string(508, '\0') + "\x1A");
    ASSERT_TRUE(Open(table, "memo3.dbf")) << table.error().c_str();
    EXPECT_EQ(table.version(), 131);
}

// A header that counts more records than the file holds: the records that
// are there read, the others fail saying so, nothing is appended far beyond
// the end, and a count no table can have is refused. oxin-dbf tells the
// miscount once and stops after a bounded number of errors.
TEST_F(XBaseTableTest, HeaderCountingMissingRecordsIsNotTrusted) {
    XBaseTable table(&app_);
    Create(table, "t.dbf", {{"N", 'N', 4, 0}, {"M", 'M', 10, 0}});
    for (int i = 1; i <= 30; i++)
        AppendRow(table, {std::to_string(i), "memo"});
    std::string bytes = Bytes("t.dbf");
    Put("t.dbf", bytes.substr(0, 4) + U32(200000) + bytes.substr(8));
    ASSERT_TRUE(Open(table, "t.dbf")) << table.error().c_str();
    ASSERT_TRUE(table.Goto(30));
    EXPECT_FALSE(table.Goto(31));
    EXPECT_STREQ(table.error().c_str(),
                 "Error reading from 't.dbf': record 31 is not in the file (its header counts "
                 "200000 records, the file holds 30)");
    EXPECT_EQ(table.recordnum(), 30);
    {
        // A walk reading ahead stops at the same place with the same text.
        XBaseReadingAhead walk(&table);
        ASSERT_TRUE(table.Goto(1));
        for (int i = 2; i <= 30; i++) {
            ASSERT_TRUE(table.Goto(i)) << i;
            ASSERT_STREQ(table.fields().First()->data(), std::to_string(i).c_str());
        }
        EXPECT_FALSE(table.Goto(31));
        EXPECT_STREQ(table.error().c_str(),
                     "Error reading from 't.dbf': record 31 is not in the file (its header "
                     "counts 200000 records, the file holds 30)");
    }
    EXPECT_FALSE(table.Goto(200001));
    EXPECT_STREQ(table.error().c_str(), "Invalid record number");
    EXPECT_FALSE(table.Append());
    EXPECT_STREQ(table.error().c_str(),
                 "Error writing to 't.dbf': its header counts 200000 records, the file holds 30");
    EXPECT_EQ(Bytes("t.dbf").size(), bytes.size());

    std::string run = "timeout 20 " + std::string(OXIN_BINARY_DIR) + "/bin/oxin-dbf " +
                      directory_.Path("t.dbf") + " >" + directory_.Path("out") + " 2>" +
                      directory_.Path("err");
    EXPECT_EQ(system(run.c_str()), 1 << 8);
    std::string err = Bytes("err");
    EXPECT_EQ(err.substr(err.find(':', 10)),
              ": the header counts 200000 records, but the file "
              "holds only 30; the missing ones are not listed\n");
    EXPECT_NE(Bytes("out").find("\n30 N=\"30\" M=\"memo\"\n"), std::string::npos);
    Put("t.dbt", Bytes("t.dbt").substr(0, 512));  // every memo is now missing
    EXPECT_EQ(system(run.c_str()), 1 << 8);
    err = Bytes("err");
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1 + 20 + 1) << err.substr(0, 500);
    EXPECT_NE(err.find("oxin-dbf: stopped after 20 errors\n"), std::string::npos);

    Put("t.dbf", bytes.substr(0, 4) + U32(0xFFFFFFFF) + bytes.substr(8));
    EXPECT_FALSE(Open(table, "t.dbf"));
    EXPECT_STREQ(table.error().c_str(),
                 "'t.dbf' is corrupt (its header counts 4294967295 records)");
}

// A memo block number outside the memo file, even one beyond an int, is an
// error, not another memo's text or an empty one; a memo without its end
// mark reads to the end of the file.
TEST_F(XBaseTableTest, MemoBlocksOutsideTheFileAreErrors) {
    XBaseTable table(&app_);
    Create(table, "m.dbf", {{"TEXT", 'M', 10, 0}});
    AppendRow(table, {"first"});
    AppendRow(table, {"second"});
    const int second = 33 + 32 + 11 + 1;
    for (std::string block : {"4294967297", "        99"}) {
        Put("m.dbf", Bytes("m.dbf").replace(second, 10, block));
        ASSERT_TRUE(table.Goto(2));
        EXPECT_EQ(Field(table, 0)->data(), nullptr) << block;
        EXPECT_EQ(std::string(table.error().c_str()),
                  "Error reading from 'm.dbt': memo block " +
                      block.substr(block.find_first_not_of(' ')) + " is not in the file");
    }
    std::string memo = Bytes("m.dbt");
    memo.resize(3 * 512, '\0');
    Put("m.dbt", memo + std::string(4 << 20, 'x'));
    Put("m.dbf", Bytes("m.dbf").replace(second, 10, "         3"));
    ASSERT_TRUE(table.Goto(2));
    ASSERT_NE(Field(table, 0)->data(), nullptr) << table.error().c_str();
    EXPECT_EQ(static_cast<XBaseMemoField*>(Field(table, 0))->textlength(), 4 << 20);
}

TEST_F(XBaseTableTest, CreateRefusesMoreThan2046Fields) {
    List<XBaseField> many(1);
    for (int i = 0; i < 2047; i++) {
        std::string name = "F" + std::to_string(i);
        many.Insert(new XBaseField(nullptr, name.c_str(), XBaseCharacter, 1, 0), ListTail);
    }
    XBaseTable table(&app_);
    EXPECT_FALSE(table.Create(OxinPathData, String("wide.dbf"), "", 0, many));
    EXPECT_STREQ(table.error().c_str(),
                 "Error creating 'wide.dbf': too many fields (maximum 2046)");
    delete many.Remove(ListTail);
    ASSERT_TRUE(table.Create(OxinPathData, String("wide.dbf"), "", 0, many));
    EXPECT_EQ(table.headerlength(), 33 + 32 * 2046);
}

}  // namespace
