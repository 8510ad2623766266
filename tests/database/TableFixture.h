#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "database/QTXIndexFile.h"
#include "database/XBaseTable.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestApplication.h"
#include "tools/XBaseIndexChecker.h"
#include "tools/XBaseIndexRebuilder.h"

// Little-endian words as they lie in a file.
inline std::string U32(unsigned int value) {
    return std::string{static_cast<char>(value), static_cast<char>(value >> 8),
                       static_cast<char>(value >> 16), static_cast<char>(value >> 24)};
}
inline std::string U16(unsigned int value) { return U32(value).substr(0, 2); }

// A field as a test describes it: name, type character, length, decimals.
struct FieldSpec {
    const char* name;
    char type;
    int length;
    int decimals;
};

// A fresh data directory per test, with helpers to make tables in it and to
// look at their bytes from outside.
class TableFixture : public ::testing::Test {
  public:
    // Sets the fields of the current record, in order, and appends it.
    static void AppendRow(XBaseTable& table, const std::vector<std::string>& values) {
        SetRow(table, values);
        ASSERT_TRUE(table.Append()) << table.error().c_str();
    }

    static void SetRow(XBaseTable& table, const std::vector<std::string>& values) {
        XBaseField* field = table.fields().First();
        for (const std::string& value : values) {
            field->Set(value.c_str(), static_cast<int>(value.size()));
            field = table.fields().Next();
        }
    }

    static XBaseField* Field(XBaseTable& table, int index) {
        XBaseField* field = table.fields().First();
        for (int i = 0; i < index; i++)
            field = table.fields().Next();
        return field;
    }

  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.files().InitializeDataDirectory(directory_.path().c_str()));
    }

    // Creates name with the fields and leaves it open in table.
    void Create(XBaseTable& table, const std::string& name, const std::vector<FieldSpec>& specs) {
        List<XBaseField> list(1);
        for (const FieldSpec& spec : specs) {
            list.Insert(new XBaseField(nullptr, spec.name, XBaseTypeOf(spec.type), spec.length,
                                       spec.decimals),
                        ListTail);
        }
        ASSERT_TRUE(table.Create(OxinPathData, String(name.c_str()), "", 0, list))
            << table.error().c_str();
    }

    static int Open(XBaseTable& table, const std::string& name, int flags = 3) {
        return table.Open(OxinPathData, name.c_str(), static_cast<int>(name.size()), flags);
    }

    std::string Bytes(const std::string& name) const {
        std::ifstream in(directory_.Path(name), std::ios::binary);
        std::ostringstream content;
        content << in.rdbuf();
        return content.str();
    }

    void Put(const std::string& name, const std::string& bytes) const {
        std::ofstream(directory_.Path(name), std::ios::binary) << bytes;
    }

    // Whether the table reads whole, memo texts included (field memo), and
    // each index agrees with it: after a rebuild from the table when repair
    // is given, which then says whether one was needed.
    bool Consistent(const std::string& name, int memo, const std::vector<std::string>& indexes,
                    bool* repair) {
        XBaseTable table(&app_);
        if (!Open(table, name)) return false;
        for (int record = 1; record <= table.numrecords(); record++) {
            if (!table.Goto(record) || !Field(table, memo)->data()) return false;
        }
        for (const std::string& index_name : indexes) {
            QTXIndexFile index(&app_);
            if (!index.Open(OxinPathData, index_name.c_str(), 3)) return false;
            if (XBaseIndexChecker(&index, &table).Check()) continue;
            if (!repair || !XBaseIndexRebuilder(&index, &table).Rebuild()) return false;
            *repair = true;
            if (!XBaseIndexChecker(&index, &table).Check()) return false;
        }
        return true;
    }

    TempDirectory directory_;
    TestApplication app_;
};
