#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "files/Dictionary.h"
#include "network/HTTPResponseStream.h"
#include "statements/CallBuffer.h"
#include "statements/CallScanner.h"
#include "tests/support/MemoryConnection.h"
#include "tests/support/TestText.h"
#include "variables/AggregateIndex.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"

namespace {

// The objects that the scanner finds in body, delivered by the connection
// piece bytes at a time into a buffer of buffer_size, each as
// "type|element|value|attribute=value|...", then "end" or "error:<text>".
class Scan {
  public:
    Scan(const std::string& body, int piece, int buffer_size)
        : variables_(&dictionary_, 8, 8),
          stream_(new MemoryConnection("HTTP/1.0 200 OK\r\n\r\n" + body, piece), 5),
          buffer_(&stream_, buffer_size),
          scanner_(&buffer_, &variables_) {
        EXPECT_TRUE(stream_.Read_Headers());
    }
    std::vector<std::string> Objects() {
        std::vector<std::string> objects;
        int result;
        while ((result = scanner_.Find_Next_Element()) == CallScanner::kObject) {
            std::string type = Get("callobjecttype"), element = Get("callobjectelement");
            objects.push_back(type + "|" + element + "|" + Get("callvalue"));
            if (type == "tag" && element[0] == '!') continue;
            for (int n = 1; n <= atoi(Get("callobjectnumattributes").c_str()); n++)
                objects.back() +=
                    "|" + Counted("callobjectattribute", n) + "=" + Counted("callobjectvalue", n);
        }
        objects.push_back(result == CallScanner::kEnd ? "end" : "error:" + Str(scanner_.error()));
        return objects;
    }

  private:
    Variable* Find(const std::string& name) {
        Variable* variable = nullptr;
        variables_.Find(&variable, name.c_str(), static_cast<int>(name.size()), 0);
        return variable;
    }
    std::string Get(const std::string& name) {
        Variable* variable = Find(name);
        return variable ? Str(variable->value()) : "(unset)";
    }
    // Element n of an array variable, checked against its numbered twin.
    std::string Counted(const std::string& name, int n) {
        Variable* element = Find(name) ? Find(name)->Element(AggregateIndex(n), 0) : nullptr;
        std::string value = element ? Str(element->value()) : "(none)";
        EXPECT_EQ(value, Get(name + std::to_string(n)));
        return value;
    }

    Dictionary dictionary_;
    VariableHash variables_;
    HTTPResponseStream stream_;
    CallBuffer buffer_;
    CallScanner scanner_;
};

TEST(CallScannerTest, EdgeCases) {
    struct Row {
        std::string body;
        std::string objects;
    } rows[] = {
        // clang-format off
        {"", "(unset)|(unset)|(unset)\nend\n"},
        {"<a href=x>", "tag|a|<a href=x>|href=x\nend\n"},
        {"<a b>", "tag|a|<a b>|b=b\nend\n"},
        {"<a b = \"two words\">", "tag|a|<a b = \"two words\">|b=two words\nend\n"},
        {"<A Href='x' c=\"d\"e f>", "tag|A|<A Href='x' c=\"d\"e f>|Href=x|c=d\"|f=f\nend\n"},
        {"<br/>", "tag|br/|<br/>\nend\n"},
        {"<input disabled />", "tag|input|<input disabled />|disabled=disabled\nend\n"},
        {"<a b=>", "tag|a|<a b=>|b=\nend\n"},
        {"<a / >", "error:Found &quot; &quot; in tag following /\n"},
        {"<a b/c>", "tag|a|<a b/c>|b/c=b/c\nend\n"},
        {" x <b>  y ", "text|| x \ntag|b|<b>\ntext||  y \nend\n"},
        {"<i> <b>", "tag|i|<i>\ntext|| \ntag|b|<b>\nend\n"},
        {"< p\tq=1\n>", "tag|p|< p\tq=1\n>|q=1\nend\n"},
        {"</div>", "tag|/div|</div>\nend\n"},
        {"<!-- a > b -- c -->x", "tag|!--|<!-- a > b -- c -->\ntext||x\nend\n"},
        {"<![CDATA[ a > ] b ]]>", "tag|![CDATA[|<![CDATA[ a > ] b ]]>\nend\n"},
        {"<!DOCTYPE x [ <!ENTITY a \"b\"> <!ELEMENT c (d)> ]><r>",
         "tag|!DOCTYPE|<!DOCTYPE x [ <!ENTITY a \"b\"> <!ELEMENT c (d)> ]>\ntag|r|<r>\nend\n"},
        {"<!x>", "tag|!x|<!x>\nend\n"},
        {"ab\xff" "cd<x>", "text||ab\nend\n"},  // 0xFF ends the data
        {"caf\xc3\xa9 &amp; \x80", "text||caf\xc3\xa9 &amp; \x80\nend\n"},
        {"<a href", "error:Unexpected EOF in tag\n"},
        {"<a", "error:Unexpected EOF in tag\n"},
        {"<!-- x", "error:Unexpected EOF in HTML comment or CDATA section\n"},
        {"<!x <y>", "error:Unexpected EOF in DOCTYPE or other XML tag\n"},
        {"t<a b='x", "text||t\nerror:Unexpected EOF in tag\n"},
        // clang-format on
    };
    for (const Row& row : rows) {
        for (int piece : {1, 2, 1 << 20}) {
            for (int buffer : {1, 3, 8192}) {
                SCOPED_TRACE(row.body + " piece " + std::to_string(piece) + " buffer " +
                             std::to_string(buffer));
                std::string objects;
                for (const std::string& object : Scan(row.body, piece, buffer).Objects())
                    objects += object + "\n";
                EXPECT_EQ(objects, row.objects);
            }
        }
    }
}

TEST(CallScannerTest, RealPagesReadTheSameInEverySplit) {
    for (const char* name : {"apa.en.html", "pr01.en.html", "ch08.en.html"}) {
        std::string path = std::string("/usr/share/debian-reference/") + name;
        std::ifstream in(path, std::ios::binary);
        std::string page(std::istreambuf_iterator<char>(in), {});
        ASSERT_GT(page.size(), 10000u)
            << path << ": install the Debian package debian-reference-en";
        std::vector<std::string> whole = Scan(page, 1 << 30, 1 << 20).Objects();
        ASSERT_EQ(whole.back(), "end");
        // Lossless: the objects' values put together are the page again.
        // (A tag's value is taken up to the next "|", which no tag of these
        // pages has inside.)
        std::string again;
        size_t tags = 0;
        for (size_t i = 0; i + 1 < whole.size(); i++) {
            size_t value = whole[i].find('|', whole[i].find('|') + 1) + 1;
            bool tag = whole[i].rfind("tag|", 0) == 0;
            again +=
                whole[i].substr(value, tag ? whole[i].find('|', value) - value : std::string::npos);
            tags += tag;
        }
        EXPECT_EQ(again, page) << name;
        EXPECT_EQ(tags, static_cast<size_t>(std::count(page.begin(), page.end(), '<'))) << name;
        if (page.size() > 40000) continue;
        for (int piece : {1, 2, 3, 5, 8, 13, 100, 1000, 4096})
            for (int buffer : {1, 7, 8192})
                ASSERT_EQ(Scan(page, piece, buffer).Objects(), whole)
                    << name << " " << piece << " " << buffer;
    }
}

}  // namespace
