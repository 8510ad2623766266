#include "tools/Disassembler.h"

#include <cstdio>

#include "files/Dictionary.h"
#include "files/TaggedFile.h"
#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "runtime/Segment.h"
#include "runtime/SegmentManager.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedLanguages.h"
#include "tools/AssemblyNames.h"
#include "tools/SegmentListing.h"
#include "variables/VariableHash.h"

namespace {

std::string hex(uint32_t value) {
    char text[16];
    snprintf(text, sizeof text, "0x%X", value);
    return text;
}

// A section id as its four letters when they are printable.
std::string section_name(uint32_t id) {
    std::string name;
    for (int i = 0; i < 4; i++) {
        char c = static_cast<char>(id >> (8 * i));
        if (c < 0x20 || c > 0x7E) return hex(id);
        name += c;
    }
    return "\"" + name + "\"";
}

// A dictionary id and, in a comment, its text.
class Lister {
  public:
    Lister(const Dictionary& dictionary, std::string* out) : dictionary_(dictionary), out_(*out) {}

    std::string Comment(int id) const {
        int length;
        const char* text = dictionary_.Entry(id, &length);
        return text ? "  ; " + SegmentListing::Quote(text, length) : "";
    }

    void Header(const TaggedFile& file) {
        out_ += ".file version " + hex(file.version()) + " flags " +
                std::to_string(dictionary_.flags()) + " signature";
        for (int i = 0; i < 4; i++)
            out_ += " " + hex(file.signature()[i]);
        out_ += "\n; directory:\n";
        for (int i = 0; i < file.directory_entries(); i++) {
            const TaggedFile_DirectoryEntry* entry = file.directory_entry(i);
            out_ += ";   " + section_name(entry->id) + " at " + std::to_string(entry->offset) +
                    ", " + std::to_string(entry->length) + " bytes\n";
        }
    }

    void Dictionary() {
        out_ += "\n.dictionary\n";
        for (int id = 0; id < dictionary_.entries(); id++) {
            int length;
            const char* text = dictionary_.Entry(id, &length);
            out_ += "    " + std::to_string(id) + " " + SegmentListing::Quote(text, length) + "\n";
        }
        out_ += ".end\n";
    }

    void Variables(const char* directive, VariableHash& table) {
        out_ += std::string("\n") + directive + " bits " + std::to_string(table.bits()) + "\n";
        for (int n = 0; n < table.Entries(); n++) {
            int id = table.entry(n)->id;
            out_ += "    " + std::to_string(n) + " " + std::to_string(id) + Comment(id) + "\n";
        }
        out_ += ".end\n";
    }

    // Locals first, so that each parameter finds the local of its name;
    // a parameter standing for another local says which.
    void Functions(FunctionManager& functions) {
        out_ += "\n.functions bits " + std::to_string(functions.hash_bits()) + "\n";
        for (int id = 0; id < functions.Entries(); id++) {
            Function* function = functions.Function_Get(id);
            VariableHash* locals = function->LocalVariables();
            out_ +=
                ".function " + std::to_string(id) + " " + std::to_string(function->name_index()) +
                " segment " + std::to_string(function->segment()) + " offset " +
                std::to_string(function->offset()) + " flags " + std::to_string(function->flags()) +
                " bits " + std::to_string(locals->bits()) + Comment(function->name_index()) + "\n";
            for (int n = 0; n < locals->Entries(); n++) {
                int name = locals->entry(n)->id;
                out_ += "    local " + std::to_string(name) + Comment(name) + "\n";
            }
            for (int i = 0; i < function->ParameterCount(); i++)
                Parameter(*function->Parameter(i), locals);
            out_ += ".end\n";
        }
    }

    void Parameter(const FunctionParameter& parameter, VariableHash* locals) {
        int flags = parameter.flags();
        out_ += "    param ";
        if (flags == FunctionParameter::kByReference) out_ += "&";
        out_ += std::to_string(parameter.name_index());
        if (flags != 0 && flags != FunctionParameter::kByReference)
            out_ += " flags " + std::to_string(flags);
        if (locals->Seek(parameter.name_index(), nullptr, 0) != parameter.localvar_index())
            out_ += " local " + std::to_string(parameter.localvar_index());
        out_ += Comment(parameter.name_index()) + "\n";
    }

    void Pieces(LocalizedDictionary& pieces) {
        out_ += "\n.pieces\n";
        for (int n = 0; n < pieces.Entries(); n++) {
            const LocalizedPiece* piece = pieces.Entry(n);
            out_ += "    " + std::to_string(n) +
                    (piece->kind == 1   ? " text "
                     : piece->kind == 0 ? " var "
                                        : " kind " + std::to_string(piece->kind) + " ") +
                    std::to_string(piece->text);
            if (piece->next != -1) out_ += " next " + std::to_string(piece->next);
            out_ += Comment(piece->text) + "\n";
        }
        out_ += ".end\n";
    }

    void Languages(LocalizedLanguages& languages) {
        out_ += "\n.languages bits " + std::to_string(languages.table().hash_bits()) + "\n";
        for (int n = 0; n < languages.Entries(); n++) {
            int name = languages.Language(n)->id;
            LocalizedIndex* index = languages.Language(n)->value;
            out_ += ".language " + std::to_string(n) + " " + std::to_string(name) + " bits " +
                    std::to_string(index->table().hash_bits()) + Comment(name) + "\n";
            for (int e = 0; e < index->Entries(); e++) {
                const LocalizedIndex_Entry* entry = index->Entry(e);
                out_ += "    " + std::to_string(entry->id) + " " + std::to_string(entry->value) +
                        Comment(entry->id) + "\n";
            }
            out_ += ".end\n";
        }
    }

    void Segments(SegmentManager& segments, AssemblyNames* names) {
        out_ += "\n.segments start " + std::to_string(segments.start()) + "\n";
        SegmentListing code(names);
        for (int id = 0; id < segments.count(); id++) {
            out_ += ".segment " + std::to_string(id) + "\n";
            names->Enter_Segment(id);
            if (const Segment* segment = segments.Segment_Get(id)) code.List(*segment, &out_);
            out_ += ".end\n";
        }
    }

  private:
    const ::Dictionary& dictionary_;
    std::string& out_;
};

}  // namespace

bool Disassembler::Fail(const TaggedFile& file, const char* path, uint32_t section,
                        const String& text) {
    error_ = std::string(path) + ": ";
    if (section == 0xFFFFFFFF) {
        error_ += "header at offset 0";
    } else {
        error_ += section_name(section);
        for (int i = 0; i < file.directory_entries(); i++) {
            if (file.directory_entry(i)->id == section)
                error_ += " at offset " + std::to_string(file.directory_entry(i)->offset);
        }
    }
    error_ += ": " + std::string(text.c_str(), text.length());
    return false;
}

bool Disassembler::List(FileManager* files, const char* path, std::string* out) {
    TaggedFile file(files);
    Dictionary dictionary;
    VariableHash system(&dictionary, 0, 8), global(&dictionary, 0, 8);
    FunctionManager functions(&dictionary);
    LocalizedDictionary pieces;
    LocalizedLanguages languages(nullptr, &dictionary);
    SegmentManager segments;
    if (!file.Open(path, 1)) return Fail(file, path, 0xFFFFFFFF, file.error());
    if (!dictionary.Read(&file)) return Fail(file, path, kSectionDict, dictionary.error());
    if (!system.Read(&file, kSectionSyst)) return Fail(file, path, kSectionSyst, system.error());
    if (!global.Read(&file, kSectionGlbl)) return Fail(file, path, kSectionGlbl, global.error());
    if (!pieces.Read(&file)) return Fail(file, path, kSectionLocd, pieces.error());
    if (!segments.Read(&file)) return Fail(file, path, kSectionSegs, segments.error());
    if (!functions.Read(&file, segments)) return Fail(file, path, kSectionFunc, functions.error());
    if (!languages.Read(&file)) return Fail(file, path, kSectionLocl, languages.error());
    for (int n = 0; n < languages.Entries(); n++) {
        LocalizedIndex* index = new LocalizedIndex(&dictionary, n);
        languages.Language(n)->value = index;
        if (!index->Read(&file)) return Fail(file, path, TokenIndexSectionId(n), index->error());
    }

    std::string listing;
    Lister lister(dictionary, &listing);
    lister.Header(file);
    lister.Dictionary();
    lister.Variables(".system", system);
    lister.Variables(".global", global);
    lister.Functions(functions);
    lister.Pieces(pieces);
    lister.Languages(languages);
    AssemblyNames names(&dictionary, &system, &global, &functions);
    lister.Segments(segments, &names);
    *out += listing;
    return true;
}
