#pragma once

#include "base/StringClass.h"

class FileManager;

// The class of a contained path: which configured root it lies under.
enum Oxin_PathType { OxinPathData = 0, OxinPathScript = 1, OxinPathTemporary = 2 };

enum FileLockType { FileLockRead = 0, FileLockWrite = 1 };

// Open flags of the FileManager's Open family. Read and write together are
// read-write; neither is read-only.
enum FileOpenFlag {
    FileOpenRead = 1,
    FileOpenWrite = 2,
    FileOpenCreate = 4,
    FileOpenTruncate = 8,
    FileOpenAppend = 16,
    FileOpenExclusive = 32,
    FileOpenUnmanaged = 64,  // the File stays outside the descriptor cache
};

// An open file. A managed file may lose its descriptor to the manager's
// cache at any time and reopens itself, at the same position, on next use.
// Operations return the count or position, true on success, or -1, false or
// null on failure, with the text in error().
class File {
  public:
    // contained: path is relative to the root of type and is reopened
    // under the same checks as at first.
    File(FileManager* manager, int contained, Oxin_PathType type, const char* path);
    virtual ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    virtual bool OwnerID(int* uid) = 0;
    virtual bool GroupID(int* gid) = 0;
    virtual int Read(char* buffer, int length) = 0;
    virtual int Write(const char* buffer, int length) = 0;
    // Positions from the start of the file; returns the new position.
    virtual long Seek(long position) = 0;
    virtual long Tell() = 0;
    // The size in bytes; 0 for a FIFO.
    virtual long Length() = 0;
    // Cuts the file to length bytes (a torn append taken back).
    virtual bool Truncate(long length) = 0;
    virtual bool IsDirectory(bool* directory) = 0;
    // Blocking record lock of length bytes from offset.
    virtual bool Lock(FileLockType type, long offset, long length) = 0;
    virtual bool Release(long offset, long length) = 0;
    // A read-only shared mapping; length -1 is the file's size. Any earlier
    // mapping is released first.
    virtual const char* Map(long offset, long length) = 0;
    // Ends the mapping, if any.
    virtual void Release() = 0;
    // Reopens a deactivated file at its saved position.
    virtual bool Activate(String& error) = 0;
    // Closes the descriptor, remembering the position.
    virtual void Deactivate() = 0;
    virtual void Error(const String& text) { error_ = text; }
    virtual const String& error() { return error_; }

    int Write(const String& text) { return Write(text.c_str(), text.length()); }
    // Reads exactly length bytes; a short read fails with error() saying
    // that the file ended.
    bool ReadExactly(void* buffer, int length);
    int Read(unsigned char* buffer, int length) {
        return Read(reinterpret_cast<char*>(buffer), length);
    }
    int Write(const unsigned char* buffer, int length) {
        return Write(reinterpret_cast<const char*>(buffer), length);
    }

    // How many times the descriptor has been opened: it changes when a
    // deactivated file opens again, perhaps onto another file of the path.
    unsigned long openings() const { return openings_; }
    FileManager* manager() const { return manager_; }
    // Cuts the tie to a manager that is going away.
    void Detach() { manager_ = nullptr; }
    int contained() const { return contained_; }
    Oxin_PathType path_type() const { return path_type_; }
    const char* path() const { return path_; }

  protected:
    FileManager* manager_;
    int contained_;
    Oxin_PathType path_type_;
    char* path_;
    String error_;
    unsigned long openings_ = 1;
};
