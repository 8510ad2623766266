#include "tools/Assembler.h"

#include "runtime/Dictionary.h"
#include "runtime/Segment.h"
#include "runtime/SegmentManager.h"
#include "runtime/StoredHashTable.h"
#include "runtime/TaggedFile.h"
#include "tools/CodeAssembler.h"
#include "variables/VariableHash.h"

namespace {

// Hash bits of the tables that the text leaves out.
constexpr int kDefaultBits = 8;

bool is_directive(const std::vector<AssemblyToken>& line, const char* name) {
    return !line.empty() && line[0].kind == AssemblyToken::Name && line[0].text == name;
}

// An empty stored table ("locl", "func") or piece list ("locd").
bool write_empty_section(TaggedFile* file, uint32_t id) {
    if (!file->Section_Start(id)) return false;
    bool written = id == kSectionLocd ? StoredHashTable::Write_U32(file, 0)
                                      : StoredHashTable(kDefaultBits).Write(file);
    return written && file->Section_End();
}

}  // namespace

Assembler::Assembler() : dictionary_(new Dictionary), segments_(new SegmentManager) {}

Assembler::~Assembler() {
    delete system_;
    delete global_;
    delete segments_;
    delete dictionary_;
}

bool Assembler::Fail(const AssemblyToken& token, const std::string& what) {
    error_ = "line " + std::to_string(token.line) + ", column " + std::to_string(token.column) +
             ": " + what;
    return false;
}

// The tokens of the next line that has any; an empty line at the end.
bool Assembler::NextLine(Line* line) {
    line->clear();
    AssemblyToken token;
    for (;;) {
        if (!lexer_->Next(&token)) {
            error_ = lexer_->error();
            return false;
        }
        if (token.kind == AssemblyToken::End) return true;
        if (token.kind == AssemblyToken::Newline) {
            if (!line->empty()) return true;
            continue;
        }
        line->push_back(token);
        if (token.kind == AssemblyToken::Label) return true;
    }
}

bool Assembler::Assemble(const char* text, size_t length) {
    AssemblyLexer lexer(text, length);
    lexer_ = &lexer;
    Line line;
    bool ok = true;
    while (ok && NextLine(&line) && !line.empty()) {
        if (is_directive(line, ".file")) {
            ok = Header(line);
        } else if (is_directive(line, ".dictionary")) {
            ok = DictionaryBlock();
        } else if (is_directive(line, ".system")) {
            ok = VariableBlock(line, &system_);
        } else if (is_directive(line, ".global")) {
            ok = VariableBlock(line, &global_);
        } else if (is_directive(line, ".segments")) {
            ok = SegmentsLine(line);
        } else if (is_directive(line, ".segment")) {
            ok = SegmentBlock(line);
        } else {
            ok = Fail(line[0], "expected a directive such as .dictionary or .segment");
        }
    }
    lexer_ = nullptr;
    return ok && error_.empty();
}

bool Assembler::Options(const Line& line, const std::vector<std::string>& keys,
                        std::vector<int64_t>* values) {
    for (size_t i = 1; i < line.size(); i += 2) {
        size_t key = 0;
        while (key < keys.size() && keys[key] != line[i].text)
            key++;
        if (line[i].kind != AssemblyToken::Name || key == keys.size())
            return Fail(line[i], "unknown option of " + line[0].text);
        if (i + 1 >= line.size() || line[i + 1].kind != AssemblyToken::Integer)
            return Fail(line[i], line[i].text + " needs a number");
        (*values)[key] = line[i + 1].integer;
    }
    return true;
}

// .file version V flags F signature W0 W1 W2 W3
bool Assembler::Header(const Line& line) {
    Line options = line;
    size_t signature = 0;
    for (; signature < options.size(); signature++) {
        if (options[signature].text == "signature") break;
    }
    if (signature < options.size()) {
        if (options.size() != signature + 5)
            return Fail(options[signature], "signature needs 4 words");
        for (int word = 0; word < 4; word++) {
            const AssemblyToken& token = options[signature + 1 + word];
            if (token.kind != AssemblyToken::Integer || token.integer < 0 ||
                token.integer > UINT32_MAX)
                return Fail(token, "signature words are 32-bit numbers");
            for (int byte = 0; byte < 4; byte++)
                signature_[word * 4 + byte] =
                    static_cast<unsigned char>(token.integer >> (8 * byte));
        }
        options.resize(signature);
    }
    std::vector<int64_t> values = {version_, flags_};
    if (!Options(options, {"version", "flags"}, &values)) return false;
    version_ = static_cast<uint32_t>(values[0]);
    flags_ = static_cast<uint32_t>(values[1]);
    return true;
}

// Entries "id text", in id order from the first free id.
bool Assembler::DictionaryBlock() {
    Line line;
    while (NextLine(&line) && !line.empty() && !is_directive(line, ".end")) {
        if (line.size() != 2 || line[0].kind != AssemblyToken::Integer ||
            line[1].kind != AssemblyToken::Text)
            return Fail(line[0], "expected a dictionary entry: id \"text\"");
        if (line[0].integer != dictionary_->entries())
            return Fail(line[0],
                        "expected dictionary id " + std::to_string(dictionary_->entries()));
        dictionary_->Entry_Add(line[1].text.data(), static_cast<int>(line[1].text.size()));
    }
    if (!error_.empty()) return false;
    if (line.empty()) return Fail(AssemblyToken(), "missing .end of .dictionary");
    return true;
}

// .system bits H / .global bits H, then entries "index name" where the name
// is a dictionary id or a string.
bool Assembler::VariableBlock(const Line& head, VariableHash** table) {
    if (*table) return Fail(head[0], head[0].text + " given twice");
    std::vector<int64_t> values = {kDefaultBits};
    if (!Options(head, {"bits"}, &values)) return false;
    if (values[0] < 0 || values[0] > 16) return Fail(head[0], "bits must be 0 to 16");
    *table = new VariableHash(dictionary_, static_cast<int>(values[0]), 8);
    Line line;
    while (NextLine(&line) && !line.empty() && !is_directive(line, ".end")) {
        if (line.size() != 2 || line[0].kind != AssemblyToken::Integer ||
            (line[1].kind != AssemblyToken::Integer && line[1].kind != AssemblyToken::Text))
            return Fail(line[0], "expected a variable: index name");
        if (line[0].integer != (*table)->Entries())
            return Fail(line[0], "expected variable index " + std::to_string((*table)->Entries()));
        const AssemblyToken& name = line[1];
        int number;
        if (name.kind == AssemblyToken::Text) {
            number =
                (*table)->Insert(-1, name.text.data(), static_cast<int>(name.text.size()), nullptr);
        } else {
            bool known = name.integer >= 0 && name.integer < dictionary_->entries();
            number =
                known ? (*table)->Insert(static_cast<int>(name.integer), nullptr, 0, nullptr) : -1;
        }
        if (number < 0) return Fail(line[1], "no such dictionary id");
    }
    if (!error_.empty()) return false;
    if (line.empty()) return Fail(head[0], "missing .end of " + head[0].text);
    return true;
}

bool Assembler::SegmentsLine(const Line& line) {
    std::vector<int64_t> values = {0};
    if (!Options(line, {"start"}, &values)) return false;
    if (values[0] < 0 || values[0] > INT32_MAX) return Fail(line[0], "bad start segment");
    start_ = static_cast<int>(values[0]);
    return true;
}

// .segment N, instructions and labels, .end. Segments come in id order.
bool Assembler::SegmentBlock(const Line& head) {
    int expected = segments_->count() == 1 && !segments_->Segment_Get(0) ? 0 : segments_->count();
    if (head.size() != 2 || head[1].kind != AssemblyToken::Integer || head[1].integer != expected)
        return Fail(head[0], "expected .segment " + std::to_string(expected));
    if (expected == 0) segments_->set_start(0);
    Segment* segment = expected == 0 ? segments_->Start() : segments_->Segment_Add();
    CodeAssembler code(segment, dictionary_);
    Line line;
    while (NextLine(&line) && !line.empty() && !is_directive(line, ".end")) {
        bool ok;
        if (line[0].kind == AssemblyToken::Label) {
            ok = code.Label(line[0]);
        } else if (line[0].kind == AssemblyToken::Name) {
            ok = code.Line(line);
        } else {
            return Fail(line[0], "expected an instruction");
        }
        if (!ok) {
            error_ = code.error();
            return false;
        }
    }
    if (!error_.empty()) return false;
    if (line.empty()) return Fail(head[0], "missing .end of .segment");
    if (!code.Finish()) {
        error_ = code.error();
        return false;
    }
    return true;
}

bool Assembler::Write(FileManager* files, const char* path) {
    TaggedFile file(files);
    if (!system_) system_ = new VariableHash(dictionary_, kDefaultBits, 8);
    if (!global_) global_ = new VariableHash(dictionary_, kDefaultBits, 8);
    if (!segments_->Segment_Get(0)) {
        segments_->set_start(0);
        segments_->Start();
    }
    if (start_ >= segments_->count()) {
        error_ = "the start segment " + std::to_string(start_) + " is not defined";
        return false;
    }
    segments_->set_start(start_);
    dictionary_->SetFlag(static_cast<int>(flags_));
    bool ok = file.Create(path, signature_, version_) && dictionary_->Write(&file) &&
              system_->Write(&file, kSectionSyst) && global_->Write(&file, kSectionGlbl) &&
              write_empty_section(&file, kSectionLocl) &&
              write_empty_section(&file, kSectionLocd) && segments_->Write(&file) &&
              write_empty_section(&file, kSectionFunc) && file.Section_Flush();
    if (!ok) {
        const String& text = file.error().length() ? file.error() : dictionary_->error();
        error_ = std::string(text.c_str(), text.length());
    }
    file.Close();
    return ok;
}
