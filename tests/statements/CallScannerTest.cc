#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
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
        while ((result = scanner_.Find_Next_Element()) == CallScanner::kObject)
            objects.push_back(Current());
        objects.push_back(result == CallScanner::kEnd ? "end" : "error:" + Str(scanner_.error()));
        return objects;
    }

    std::string Get(const std::string& name) {
        Variable* variable = nullptr;
        if (!variables_.Find(&variable, name.c_str(), static_cast<int>(name.size()), 0) ||
            !variable)
            return "(unset)";
        return Str(variable->value());
    }
    // Element n of an array variable, checked against its numbered twin.
    std::string Counted(const std::string& name, int n) {
        Variable* array = nullptr;
        variables_.Find(&array, name.c_str(), static_cast<int>(name.size()), 0);
        Variable* element = array ? array->Element(AggregateIndex(n), 0) : nullptr;
        std::string value = element ? Str(element->value()) : "(none)";
        EXPECT_EQ(value, Get(name + std::to_string(n)));
        return value;
    }

  private:
    std::string Current() {
        std::string object =
            Get("callobjecttype") + "|" + Get("callobjectelement") + "|" + Get("callvalue");
        int count = atoi(Get("callobjectnumattributes").c_str());
        if (Get("callobjecttype") == "tag" && Get("callobjectelement")[0] == '!') return object;
        for (int n = 1; n <= count; n++)
            object += "|" + Counted("callobjectattribute", n) + "=" + Counted("callobjectvalue", n);
        return object;
    }

    Dictionary dictionary_;
    VariableHash variables_;
    HTTPResponseStream stream_;
    CallBuffer buffer_;
    CallScanner scanner_;
};

std::string Joined(const std::vector<std::string>& objects) {
    std::string text;
    for (const std::string& object : objects) text += object + "\n";
    return text;
}

TEST(CallScannerTest, EdgeCases) {
    struct Row {
        std::string body;
        std::string objects;
    } rows[] = {
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
        {"ab\xff" "cd<x>", "text||ab\nend\n"},
        {"caf\xc3\xa9 &amp; \x80", "text||caf\xc3\xa9 &amp; \x80\nend\n"},
        {"<a href", "error:Unexpected EOF in tag\n"},
        {"<a", "error:Unexpected EOF in tag\n"},
        {"<!-- x", "error:Unexpected EOF in HTML comment or CDATA section\n"},
        {"<!x <y>", "error:Unexpected EOF in DOCTYPE or other XML tag\n"},
        {"t<a b='x", "text||t\nerror:Unexpected EOF in tag\n"},
    };
    for (const Row& row : rows) {
        for (int piece : {1, 2, 1 << 20}) {
            for (int buffer : {1, 3, 8192}) {
                SCOPED_TRACE(row.body + " piece " + std::to_string(piece) + " buffer " +
                             std::to_string(buffer));
                EXPECT_EQ(Joined(Scan(row.body, piece, buffer).Objects()), row.objects);
            }
        }
    }
}

std::string Page(const std::string& name) {
    std::string path = "/usr/share/debian-reference/" + name;
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in.good()) << path << " is missing: install the Debian package debian-reference-en";
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Every link target of the page, found by a pattern that knows nothing of
// the scanner.
std::vector<std::string> Links(const std::string& page) {
    std::vector<std::string> links;
    std::regex link("<a [^>]*href=\"([^\"]*)\"");
    for (std::sregex_iterator it(page.begin(), page.end(), link), end; it != end; ++it)
        links.push_back((*it)[1]);
    return links;
}

TEST(CallScannerTest, RealPagesReadTheSameInEverySplit) {
    for (const char* name : {"apa.en.html", "pr01.en.html", "ch08.en.html"}) {
        SCOPED_TRACE(name);
        std::string page = Page(name);
        ASSERT_GT(page.size(), 10000u);
        std::vector<std::string> whole = Scan(page, 1 << 30, 1 << 20).Objects();
        ASSERT_EQ(whole.back(), "end");
        // Lossless: the objects' values put together are the page again.
        // (Tag values are taken up to the next "|", which no tag of these
        // pages has inside.)
        std::string again;
        size_t tags = 0;
        std::vector<std::string> links;
        for (size_t i = 0; i + 1 < whole.size(); i++) {
            const std::string& object = whole[i];
            size_t value = object.find('|', object.find('|') + 1) + 1;
            bool tag = object.rfind("tag|", 0) == 0;
            again += tag ? object.substr(value, object.find('|', value) - value)
                         : object.substr(value);
            tags += tag;
            size_t href = object.find("|href=");
            if (object.rfind("tag|a|", 0) == 0 && href != std::string::npos)
                links.push_back(object.substr(href + 6, object.find('|', href + 1) - href - 6));
        }
        EXPECT_EQ(again, page);
        EXPECT_EQ(tags, static_cast<size_t>(std::count(page.begin(), page.end(), '<')));
        EXPECT_EQ(links, Links(page));
        if (page.size() > 40000) continue;
        for (int piece : {1, 2, 3, 5, 8, 13, 100, 1000, 4096}) {
            for (int buffer : {1, 7, 8192}) {
                SCOPED_TRACE(std::to_string(piece) + " " + std::to_string(buffer));
                ASSERT_EQ(Scan(page, piece, buffer).Objects(), whole);
            }
        }
    }
}

}  // namespace
