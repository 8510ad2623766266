#pragma once

#include <memory>

#include "base/StringClass.h"
#include "database/QTXIndexFile.h"

class Database;
class OxinApplication;
class OxinVM;
class Segment;

// An index file of an xBase database with its key expression compiled for
// the script machine: the key of the record that the view stands on is the
// expression's value, evaluated in the script's world. Cursor operations
// lock the file themselves. Operations return 1, or 0 with the text in
// error().
class XBaseIndex {
  public:
    XBaseIndex(OxinVM* vm, OxinApplication* application, Database* database, const String& name);
    XBaseIndex(const XBaseIndex&) = delete;
    XBaseIndex& operator=(const XBaseIndex&) = delete;

    int Open(const String& path);
    int Create(const String& path, const unsigned char* expression, long flags);
    // Writes the new index into file, which the index takes over.
    int Create(File* file, const char* path, const unsigned char* expression, long flags);
    int Close();
    int Deactivate();

    int First(unsigned int* record);
    int Last(unsigned int* record);
    int Next(unsigned int* record, const unsigned char** key = nullptr);
    int Prev(unsigned int* record, const unsigned char** key = nullptr);
    int Find(const char* key, int length, int whole, unsigned int* record, int* found);
    int Seek(const String& key, unsigned int record);
    int Insert(unsigned int record, const String& key);
    int Delete(unsigned int record, const String& key);

    // The compiled key expression, compiled on first use; null after
    // "Syntax error in index expression: ...".
    Segment* GetSegment();
    // The key of the current record; false when the expression failed.
    bool Key(String* key);

    unsigned int Flags() const { return file_.flags(); }
    const unsigned char* KeyExpression() const { return file_.keyexpression(); }
    const String& name() const { return name_; }
    const String& filepath() const { return filepath_; }
    const String& error() const { return error_; }
    void Error(const String& text) { error_ = text; }

  private:
    // Copies the file's error; returns result.
    int Checked(int result);

    OxinVM* vm_;
    OxinApplication* application_;
    Database* database_;
    String name_;
    String filepath_;
    String error_;
    Segment* segment_ = nullptr;  // the machine's segments own it
    QTXIndexFile file_;
};
