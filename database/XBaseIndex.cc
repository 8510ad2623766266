#include "database/XBaseIndex.h"

#include <cstring>

#include "runtime/Database.h"
#include "runtime/OxinVM.h"

XBaseIndex::XBaseIndex(OxinVM* vm, OxinApplication* application, Database* database,
                       const String& name)
    : vm_(vm), application_(application), database_(database), name_(name), file_(application_) {}

int XBaseIndex::Checked(int result) {
    if (!result) error_ = file_.error();
    return result;
}

int XBaseIndex::Open(const String& path) {
    filepath_ = path;
    return Checked(file_.Open(OxinPathData, path.c_str(), FileOpenRead | FileOpenWrite));
}

int XBaseIndex::Create(const String& path, const unsigned char* expression, long flags) {
    filepath_ = path;
    return Checked(file_.Create(OxinPathData, path.c_str(), expression, flags));
}

int XBaseIndex::Create(File* file, const char* path, const unsigned char* expression, long flags) {
    filepath_ = path;
    return Checked(file_.Create(file, path, expression, flags));
}

int XBaseIndex::Close() {
    return Checked(file_.Close());
}

int XBaseIndex::Deactivate() {
    return Checked(file_.Deactivate());
}

int XBaseIndex::First(unsigned int* record) {
    return Checked(file_._First(record, 1));
}

int XBaseIndex::Last(unsigned int* record) {
    return Checked(file_._Last(record, 1));
}

int XBaseIndex::Next(unsigned int* record, const unsigned char** key) {
    return Checked(file_._Next(record, key, 1));
}

int XBaseIndex::Prev(unsigned int* record, const unsigned char** key) {
    return Checked(file_._Prev(record, key, 1));
}

int XBaseIndex::Find(const char* key, int length, int whole, unsigned int* record, int* found) {
    return Checked(file_._Find(reinterpret_cast<const unsigned char*>(key), length, whole, record,
                               found, 1));
}

int XBaseIndex::Seek(const String& key, unsigned int record) {
    return Checked(file_._Seek(reinterpret_cast<const unsigned char*>(key.c_str()), key.length(),
                               record, 1));
}

int XBaseIndex::Insert(unsigned int record, const String& key) {
    return Checked(
        file_.Insert(record, reinterpret_cast<const unsigned char*>(key.c_str()), key.length()));
}

int XBaseIndex::Delete(unsigned int record, const String& key) {
    return Checked(
        file_.Delete(record, reinterpret_cast<const unsigned char*>(key.c_str()), key.length()));
}

Segment* XBaseIndex::GetSegment() {
    if (segment_) return segment_;
    const char* expression = reinterpret_cast<const char*>(file_.keyexpression());
    String message;
    segment_ = vm_->Compile_Dynamic_Expression(expression, static_cast<int>(strlen(expression)),
                                               database_->name().c_str(), nullptr, &message,
                                               nullptr, 0, 0);
    if (!segment_) {
        error_ = "Syntax error in index expression: ";
        error_.cat(message.c_str(), message.length());
    }
    return segment_;
}

bool XBaseIndex::Key(String* key) {
    Segment* segment = GetSegment();
    if (!segment) return false;
    char* text = nullptr;
    int length = 0;
    int ran = vm_->Execute_Dynamic_Expression(segment, nullptr, nullptr, &text, &length);
    *key = text ? String(text, length, length + 1) : String();
    if (!ran) error_ = vm_->error();
    return ran != 0;
}
