#include "runtime/Segment.h"

#include <cstdio>
#include <cstring>

#include "base/LittleEndian.h"
#include "files/TaggedFile.h"
#include "runtime/Instructions.h"

namespace {

// Every block has zero bytes behind its size, so that an instruction whose
// operands are cut off by the end of the code reads zeros, never outside the
// block: the machine does not bounds-check operands.
unsigned char* allocate(int size) {
    return new unsigned char[(size > 0 ? size : 0) + Segment::kOperandSlack]();
}

}  // namespace

Segment::Segment(int id)
    : id_(id), Code_(allocate(kGrowthUnit)), size_(kGrowthUnit), Code_Length_(0) {}

Segment::Segment(int id, int size)
    : id_(id), Code_(allocate(size)), size_(size > 0 ? size : 0), Code_Length_(size_) {}

Segment::Segment(const Segment& other)
    : id_(other.id_),
      Code_(allocate(other.size_)),
      size_(other.size_),
      Code_Length_(other.Code_Length_) {
    if (size_ > 0) memcpy(Code_, other.Code_, size_);
}

Segment::~Segment() {
    delete[] Code_;
}

void Segment::Grow(int n) {
    int size = n % kGrowthUnit == 0 ? n : n / kGrowthUnit * kGrowthUnit + kGrowthUnit;
    unsigned char* code = allocate(size);
    int keep = size < size_ ? size : size_;
    if (keep > 0) memcpy(code, Code_, keep);
    delete[] Code_;
    Code_ = code;
    size_ = size;
    if (Code_Length_ > size_) Code_Length_ = size_;
}

bool Segment::Claim(int offset, int end) {
    if (offset < 0) return false;
    // At or beyond, as the format's writers have always tested.
    if (end >= size_) Grow(end);
    if (end >= Code_Length_) Code_Length_ = end;
    return true;
}

int Segment::Write_Byte(int offset, uint8_t value) {
    if (!Claim(offset, offset + 1)) return -1;
    Code_[offset] = value;
    return offset + 1;
}

int Segment::Write_Word(int offset, uint16_t value) {
    if (!Claim(offset, offset + 2)) return -1;
    put_u16(Code_ + offset, value);
    return offset + 2;
}

int Segment::Write_Dword(int offset, uint32_t value) {
    if (!Claim(offset, offset + 4)) return -1;
    put_u32(Code_ + offset, value);
    return offset + 4;
}

int Segment::Write_Double(int offset, double value) {
    if (!Claim(offset, offset + 8)) return -1;
    put_double(Code_ + offset, value);
    return offset + 8;
}

bool Segment::Holds(int offset, int count) const {
    return offset >= 0 && offset <= Code_Length_ - count;
}

int Segment::Read_Byte(int offset, uint8_t* value) const {
    if (!Holds(offset, 1)) return -1;
    *value = Code_[offset];
    return offset + 1;
}

int Segment::Read_Word(int offset, uint16_t* value) const {
    if (!Holds(offset, 2)) return -1;
    *value = get_u16(Code_ + offset);
    return offset + 2;
}

int Segment::Read_Dword(int offset, uint32_t* value) const {
    if (!Holds(offset, 4)) return -1;
    *value = get_u32(Code_ + offset);
    return offset + 4;
}

int Segment::Read_Double(int offset, double* value) const {
    if (!Holds(offset, 8)) return -1;
    *value = get_double(Code_ + offset);
    return offset + 8;
}

bool Segment::Read(TaggedFile* file, uint32_t section, int offset) {
    if (Code_Length_ == 0) return true;
    return file->Section_Read(section, offset, Code_, Code_Length_) == Code_Length_;
}

bool Segment::Write(TaggedFile* file) {
    if (Code_Length_ == 0) return true;
    return file->Section_Write(Code_, Code_Length_) == Code_Length_;
}

namespace {

// Prints one operand of the listing; -1 when it cannot be read.
int dump_operand(FILE* out, const Segment& segment, int offset, OperandKind kind, bool second) {
    if (kind == OperandDword) {
        uint32_t value;
        offset = segment.Read_Dword(offset, &value);
        if (offset >= 0)
            fprintf(out, second ? ", dword:%d\n" : "dword:%d", static_cast<int>(value));
    } else if (kind == OperandDouble) {
        double value;
        offset = segment.Read_Double(offset, &value);
        if (offset >= 0) fprintf(out, second ? ", double:%f\n" : "double:%f", value);
    } else if (second) {
        fputs("\n", out);
    }
    return offset;
}

}  // namespace

void Segment::Dump(const char* path, const char* text, int length) const {
    FILE* out = fopen(path, "w");
    if (!out) return;
    fprintf(out, "\n\nExpression: %.*s\n", length, text ? text : "");
    int offset = 0;
    while (offset < Code_Length_) {
        uint16_t word;
        int next = Read_Word(offset, &word);
        if (next < 0) break;
        fprintf(out, "%d\t", offset);
        const Instruction_Info* info = Instructions::Lookup(word);
        bool known = info && info->listing;
        if (known) {
            fprintf(out, "%s\t", info->listing);
        } else {
            fputs("Illegal Instruction\n", out);
        }
        // An illegal number's operands are skipped unprinted, so that the
        // listing stays in step.
        FILE* operands = known ? out : nullptr;
        OperandKind first = Instructions::First_Operand(word);
        OperandKind second = Instructions::Second_Operand(word);
        if (operands) {
            next = dump_operand(operands, *this, next, first, false);
            if (next >= 0) next = dump_operand(operands, *this, next, second, true);
        } else {
            next += Instructions::Operand_Size(first) + Instructions::Operand_Size(second);
        }
        if (next < 0) break;
        offset = next;
    }
    fclose(out);
}
