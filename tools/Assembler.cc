#include "tools/Assembler.h"

#include "files/Dictionary.h"
#include "files/TaggedFile.h"
#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "runtime/Segment.h"
#include "runtime/SegmentManager.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedLanguages.h"
#include "tools/AssemblyNames.h"
#include "tools/CodeAssembler.h"
#include "variables/VariableHash.h"

namespace {

// Hash bits of the tables that the text leaves out.
constexpr int kDefaultBits = 8;
constexpr int kMaximumBits = 16;

bool is_name(const AssemblyToken& token, const char* name) {
    return token.kind == AssemblyToken::Name && token.text == name;
}

bool is_directive(const std::vector<AssemblyToken>& line, const char* name) {
    return !line.empty() && is_name(line[0], name);
}

bool bits_in_range(int64_t bits) {
    return bits >= 0 && bits <= kMaximumBits;
}

}  // namespace

Assembler::Assembler()
    : dictionary_(new Dictionary),
      system_(new VariableHash(dictionary_, kDefaultBits, 8)),
      global_(new VariableHash(dictionary_, kDefaultBits, 8)),
      functions_(new FunctionManager(dictionary_, FunctionManager::kDefaultBits)),
      languages_(new LocalizedLanguages(nullptr, dictionary_, nullptr, kDefaultBits)),
      pieces_(new LocalizedDictionary),
      segments_(new SegmentManager) {}

Assembler::~Assembler() {
    delete segments_;
    delete pieces_;
    delete languages_;
    delete functions_;
    delete system_;
    delete global_;
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

template <class Body>
bool Assembler::Block(const Line& head, Body body) {
    Line line;
    while (NextLine(&line) && !line.empty() && !is_directive(line, ".end")) {
        if (!body(line)) return false;
    }
    if (!error_.empty()) return false;
    if (line.empty()) return Fail(head[0], "missing .end of " + head[0].text);
    return true;
}

bool Assembler::Assemble(const char* text, size_t length) {
    AssemblyLexer lexer(text, length);
    lexer_ = &lexer;
    Line line;
    bool ok = true;
    while (ok && NextLine(&line) && !line.empty()) {
        const std::string& name = line[0].kind == AssemblyToken::Name ? line[0].text : "";
        if (name == ".file") {
            ok = Header(line);
        } else if (name == ".dictionary") {
            ok = DictionaryBlock(line);
        } else if (name == ".system") {
            ok = VariableBlock(line, &system_);
        } else if (name == ".global") {
            ok = VariableBlock(line, &global_);
        } else if (name == ".functions") {
            ok = FunctionsLine(line);
        } else if (name == ".function") {
            ok = FunctionBlock(line);
        } else if (name == ".languages") {
            ok = LanguagesLine(line);
        } else if (name == ".language") {
            ok = LanguageBlock(line);
        } else if (name == ".pieces") {
            ok = PiecesBlock(line);
        } else if (name == ".segments") {
            ok = SegmentsLine(line);
        } else if (name == ".segment") {
            ok = SegmentBlock(line);
        } else {
            ok = Fail(line[0], "expected a directive such as .dictionary or .segment");
        }
    }
    lexer_ = nullptr;
    return ok && error_.empty();
}

bool Assembler::Options(const Line& line, size_t first, const std::vector<std::string>& keys,
                        std::vector<int64_t>* values) {
    for (size_t i = first; i < line.size(); i += 2) {
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

bool Assembler::DictionaryId(const AssemblyToken& token, int* id) {
    if (token.kind == AssemblyToken::Text) {
        *id = dictionary_->Entry_Add(token.text.data(), static_cast<int>(token.text.size()));
        return true;
    }
    if (token.kind != AssemblyToken::Integer) return Fail(token, "expected a string or a number");
    if (token.integer < 0 || token.integer >= dictionary_->entries())
        return Fail(token, "no such dictionary id");
    *id = static_cast<int>(token.integer);
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
    if (!Options(options, 1, {"version", "flags"}, &values)) return false;
    version_ = static_cast<uint32_t>(values[0]);
    flags_ = static_cast<uint32_t>(values[1]);
    return true;
}

// Entries "id text", in id order from the first free id.
bool Assembler::DictionaryBlock(const Line& head) {
    return Block(head, [this](const Line& line) {
        if (line.size() != 2 || line[0].kind != AssemblyToken::Integer ||
            line[1].kind != AssemblyToken::Text)
            return Fail(line[0], "expected a dictionary entry: id \"text\"");
        if (line[0].integer != dictionary_->entries())
            return Fail(line[0],
                        "expected dictionary id " + std::to_string(dictionary_->entries()));
        dictionary_->Entry_Add(line[1].text.data(), static_cast<int>(line[1].text.size()));
        return true;
    });
}

// .system bits H / .global bits H, then entries "index name" where the name
// is a dictionary id or a string.
bool Assembler::VariableBlock(const Line& head, VariableHash** table) {
    if ((*table)->Entries() > 0)
        return Fail(head[0], head[0].text + " must come once, before its variables are named");
    std::vector<int64_t> values = {kDefaultBits};
    if (!Options(head, 1, {"bits"}, &values)) return false;
    if (!bits_in_range(values[0])) return Fail(head[0], "bits must be 0 to 16");
    delete *table;
    *table = new VariableHash(dictionary_, static_cast<int>(values[0]), 8);
    VariableHash* variables = *table;
    return Block(head, [this, variables](const Line& line) {
        if (line.size() != 2 || line[0].kind != AssemblyToken::Integer)
            return Fail(line[0], "expected a variable: index name");
        if (line[0].integer != variables->Entries())
            return Fail(line[0], "expected variable index " + std::to_string(variables->Entries()));
        int id;
        if (!DictionaryId(line[1], &id)) return false;
        variables->Insert(id, nullptr, 0, nullptr);
        return true;
    });
}

// .functions bits H: the hash of the function table.
bool Assembler::FunctionsLine(const Line& line) {
    if (functions_->Entries() > 0)
        return Fail(line[0], ".functions must come before the first function");
    std::vector<int64_t> values = {FunctionManager::kDefaultBits};
    if (!Options(line, 1, {"bits"}, &values)) return false;
    if (!bits_in_range(values[0])) return Fail(line[0], "bits must be 0 to 16");
    delete functions_;
    functions_ = new FunctionManager(dictionary_, static_cast<int>(values[0]));
    return true;
}

// .function ID NAME segment S offset O flags F bits H, then its locals and
// parameters.
bool Assembler::FunctionBlock(const Line& head) {
    int id = functions_->Entries();
    if (head.size() < 3 || head[1].kind != AssemblyToken::Integer || head[1].integer != id)
        return Fail(head[0], "expected .function " + std::to_string(id) + " and a name");
    int name;
    if (!DictionaryId(head[2], &name)) return false;
    std::vector<int64_t> values = {0, 0, 0, Function::kLocalBits};
    if (!Options(head, 3, {"segment", "offset", "flags", "bits"}, &values)) return false;
    if (!bits_in_range(values[3])) return Fail(head[0], "bits must be 0 to 16");
    Function* function = new Function(id, dictionary_, name, static_cast<unsigned>(values[2]),
                                      static_cast<int>(values[0]), static_cast<int>(values[1]));
    function->SetLocalVariables(
        new VariableHash(dictionary_, static_cast<int>(values[3]), Function::kLocalCapacity));
    int length;
    const char* text = dictionary_->Entry(name, &length);
    functions_->Function_Add(function, text, length);
    return Block(head, [this, id](const Line& line) { return FunctionLine(line, id); });
}

// "local NAME", or "param [&] NAME [flags F] [local N]": a parameter stands
// for the local of its name, added when missing, unless N says otherwise.
bool Assembler::FunctionLine(const Line& line, int id) {
    Function* function = functions_->Function_Get(id);
    VariableHash* locals = function->LocalVariables();
    bool local = is_name(line[0], "local");
    if (!local && !is_name(line[0], "param"))
        return Fail(line[0], "expected local or param in a function");
    size_t at = 1;
    bool reference = !local && at < line.size() && line[at].kind == AssemblyToken::Ampersand;
    if (reference) at++;
    if (at >= line.size()) return Fail(line[0], "expected a name");
    const AssemblyToken& name = line[at++];
    int number = -1;
    if (name.kind == AssemblyToken::Text) {
        number = locals->Seek(-1, name.text.data(), static_cast<int>(name.text.size()));
        if (local) number = -1;
    }
    int name_id;
    if (number >= 0) {
        name_id = locals->entry(number)->id;
    } else if (!DictionaryId(name, &name_id)) {
        return false;
    }
    if (local) {
        if (at != line.size()) return Fail(line[at], "a local takes only its name");
        locals->Insert(name_id, nullptr, 0, nullptr);
        return true;
    }
    std::vector<int64_t> values = {reference ? FunctionParameter::kByReference : 0, -1};
    if (!Options(line, at, {"flags", "local"}, &values)) return false;
    int localvar = static_cast<int>(values[1]);
    if (localvar < 0) {
        localvar = locals->Seek(name_id, nullptr, 0);
        if (localvar < 0) localvar = locals->Insert(name_id, nullptr, 0, nullptr);
    }
    int length;
    const char* text = dictionary_->Entry(name_id, &length);
    function->AddParameter(
        new FunctionParameter(name_id, text, length, static_cast<int>(values[0]), localvar));
    return true;
}

// .languages bits H: the hash of the language table.
bool Assembler::LanguagesLine(const Line& line) {
    if (languages_->Entries() > 0)
        return Fail(line[0], ".languages must come before the first language");
    std::vector<int64_t> values = {kDefaultBits};
    if (!Options(line, 1, {"bits"}, &values)) return false;
    if (!bits_in_range(values[0])) return Fail(line[0], "bits must be 0 to 16");
    delete languages_;
    languages_ = new LocalizedLanguages(nullptr, dictionary_, nullptr, static_cast<int>(values[0]));
    return true;
}

// .language N NAME bits H, then its messages.
bool Assembler::LanguageBlock(const Line& head) {
    int n = languages_->Entries();
    if (head.size() < 3 || head[1].kind != AssemblyToken::Integer || head[1].integer != n)
        return Fail(head[0], "expected .language " + std::to_string(n) + " and a name");
    int name;
    if (!DictionaryId(head[2], &name)) return false;
    std::vector<int64_t> values = {LocalizedIndex::kHashBits};
    if (!Options(head, 3, {"bits"}, &values)) return false;
    if (!bits_in_range(values[0])) return Fail(head[0], "bits must be 0 to 16");
    if (languages_->Add_Entry(name) != n) return Fail(head[2], "language named twice");
    languages_->Language(n)->value =
        new LocalizedIndex(dictionary_, n, static_cast<int>(values[0]));
    return Block(head, [this, n](const Line& line) { return MessageLine(line, n); });
}

// "TOKEN FIRST" names the first piece of the token's message; "TOKEN" and
// pieces ("text X", "var X", "kind K X") appends those pieces, chained.
bool Assembler::MessageLine(const Line& line, int language) {
    int token;
    if (!DictionaryId(line[0], &token)) return false;
    int first = -1;
    if (line.size() == 2 && line[1].kind == AssemblyToken::Integer) {
        first = static_cast<int>(line[1].integer);
    } else if (line.size() > 1) {
        std::vector<std::pair<int, int>> pieces;
        for (size_t at = 1; at < line.size();) {
            int kind, text;
            if (!Piece(line, &at, &kind, &text)) return false;
            pieces.emplace_back(kind, text);
        }
        first = pieces_->Entries();
        for (size_t i = 0; i < pieces.size(); i++) {
            int next = i + 1 < pieces.size() ? first + static_cast<int>(i) + 1 : -1;
            pieces_->Add_Entry(pieces[i].first, pieces[i].second, next);
        }
    }
    languages_->Index(language)->Add_Entry(token, first);
    return true;
}

bool Assembler::Piece(const Line& line, size_t* at, int* kind, int* text) {
    const AssemblyToken& word = line[*at];
    if (is_name(word, "text") || is_name(word, "var")) {
        *kind = is_name(word, "text") ? 1 : 0;
        *at += 1;
    } else if (is_name(word, "kind") && *at + 1 < line.size() &&
               line[*at + 1].kind == AssemblyToken::Integer) {
        *kind = static_cast<int>(line[*at + 1].integer);
        *at += 2;
    } else {
        return Fail(word, "expected a piece: text, var or kind");
    }
    if (*at >= line.size()) return Fail(word, "the piece needs its text");
    return DictionaryId(line[(*at)++], text);
}

// Pieces "N text X [next M]", in index order from the first free index.
bool Assembler::PiecesBlock(const Line& head) {
    return Block(head, [this](const Line& line) {
        if (line[0].kind != AssemblyToken::Integer || line[0].integer != pieces_->Entries())
            return Fail(line[0], "expected piece " + std::to_string(pieces_->Entries()));
        size_t at = 1;
        int kind, text;
        if (at >= line.size() || !Piece(line, &at, &kind, &text)) {
            return error_.empty() ? Fail(line[0], "expected a piece: text, var or kind") : false;
        }
        std::vector<int64_t> values = {-1};
        if (!Options(line, at, {"next"}, &values)) return false;
        pieces_->Add_Entry(kind, text, static_cast<int>(values[0]));
        return true;
    });
}

bool Assembler::SegmentsLine(const Line& line) {
    std::vector<int64_t> values = {0};
    if (!Options(line, 1, {"start"}, &values)) return false;
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
    AssemblyNames names(dictionary_, system_, global_, functions_);
    names.Enter_Segment(expected);
    CodeAssembler code(segment, &names);
    bool ok = Block(head, [this, &code](const Line& line) {
        if (line[0].kind == AssemblyToken::Label) {
            if (code.Label(line[0])) return true;
        } else if (line[0].kind == AssemblyToken::Name) {
            if (code.Line(line)) return true;
        } else {
            return Fail(line[0], "expected an instruction");
        }
        error_ = code.error();
        return false;
    });
    if (ok && !code.Finish()) {
        error_ = code.error();
        return false;
    }
    return ok;
}

bool Assembler::Write(FileManager* files, const char* path) {
    TaggedFile file(files);
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
              languages_->Write(&file) && pieces_->Write(&file) && segments_->Write(&file) &&
              functions_->Write(&file) && file.Section_Flush();
    if (!ok) {
        const String* texts[] = {&file.error(),     &dictionary_->error(), &languages_->error(),
                                 &pieces_->error(), &functions_->error(),  &system_->error(),
                                 &global_->error()};
        for (const String* text : texts) {
            if (text->length()) {
                error_ = std::string(text->c_str(), text->length());
                break;
            }
        }
        if (error_.empty()) error_ = "cannot write the compiled file";
    }
    file.Close();
    return ok;
}
