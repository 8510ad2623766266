#include "tools/Disassembler.h"

#include <cstdio>

#include "runtime/Dictionary.h"
#include "runtime/Segment.h"
#include "runtime/SegmentManager.h"
#include "runtime/TaggedFile.h"
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

void list_header(const TaggedFile& file, std::string* out) {
    *out += ".file version " + hex(file.version()) + " flags ";
    const uint32_t* words = file.signature();
    std::string signature;
    for (int i = 0; i < 4; i++)
        signature += " " + hex(words[i]);
    *out += "%FLAGS% signature" + signature + "\n";
    *out += "; directory:\n";
    for (int i = 0; i < file.directory_entries(); i++) {
        const TaggedFile_DirectoryEntry* entry = file.directory_entry(i);
        *out += ";   " + section_name(entry->id) + " at " + std::to_string(entry->offset) + ", " +
                std::to_string(entry->length) + " bytes\n";
    }
}

void list_dictionary(const Dictionary& dictionary, std::string* out) {
    *out += "\n.dictionary\n";
    for (int id = 0; id < dictionary.entries(); id++) {
        int length;
        const char* text = dictionary.Entry(id, &length);
        *out += "    " + std::to_string(id) + " " + SegmentListing::Quote(text, length) + "\n";
    }
    *out += ".end\n";
}

void list_variables(const char* directive, VariableHash& table, const Dictionary& dictionary,
                    std::string* out) {
    *out += std::string("\n") + directive + " bits " + std::to_string(table.bits()) + "\n";
    for (int n = 0; n < table.Entries(); n++) {
        int id = table.entry(n)->id;
        int length;
        const char* name = dictionary.Entry(id, &length);
        *out += "    " + std::to_string(n) + " " + std::to_string(id);
        if (name) *out += "  ; " + SegmentListing::Quote(name, length);
        *out += "\n";
    }
    *out += ".end\n";
}

}  // namespace

bool Disassembler::List(FileManager* files, const char* path, std::string* out) {
    TaggedFile file(files);
    Dictionary dictionary;
    VariableHash system(&dictionary, 0, 8), global(&dictionary, 0, 8);
    SegmentManager segments;
    const char* failed = nullptr;
    if (!file.Open(path, 1)) {
        failed = "header";
    } else if (!dictionary.Read(&file)) {
        failed = "\"dict\"";
    } else if (!system.Read(&file, kSectionSyst)) {
        failed = "\"syst\"";
    } else if (!global.Read(&file, kSectionGlbl)) {
        failed = "\"glbl\"";
    } else if (!segments.Read(&file)) {
        failed = "\"segs\"";
    }
    if (failed) {
        const String& text = file.error();
        error_ =
            std::string(path) + ": " + failed + ": " + std::string(text.c_str(), text.length());
        return false;
    }
    std::string listing;
    list_header(file, &listing);
    listing.replace(listing.find("%FLAGS%"), 7, std::to_string(dictionary.flags()));
    list_dictionary(dictionary, &listing);
    list_variables(".system", system, dictionary, &listing);
    list_variables(".global", global, dictionary, &listing);
    listing += "\n.segments start " + std::to_string(segments.start()) + "\n";
    SegmentListing code(&dictionary);
    for (int id = 0; id < segments.count(); id++) {
        listing += ".segment " + std::to_string(id) + "\n";
        if (const Segment* segment = segments.Segment_Get(id)) code.List(*segment, &listing);
        listing += ".end\n";
    }
    *out += listing;
    return true;
}
