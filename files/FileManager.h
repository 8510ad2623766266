#pragma once

#include <ctime>

#include "base/List.h"
#include "base/StringClass.h"
#include "files/FaultInjection.h"
#include "files/File.h"

class OxinApplication;

// The only road to the file system. Contained forms take a path relative to
// the root of a path class and never reach outside it; uncontained forms take
// plain system paths and serve the engine's own purposes only.
//
// Every operation returns true, a count, an object or a descriptor on
// success, and false, -1 or null on failure with the text in error().
//
// The manager also keeps every managed File in an active or an inactive list
// and closes the least recently opened descriptors when max_files would be
// exceeded.
class FileManager {
  public:
    explicit FileManager(OxinApplication* app);
    virtual ~FileManager();
    FileManager(const FileManager&) = delete;
    FileManager& operator=(const FileManager&) = delete;

    // Uncontained forms.
    virtual File* Open(const char* path, int flags) = 0;
    // Takes the lock file at path: 0 acquired, 1 timed out, 2 error.
    virtual int Lock(const char* path) = 0;
    virtual bool Delete(const char* path) = 0;
    virtual bool Copy(const char* from, const char* to) = 0;
    virtual bool Rename(const char* from, const char* to) = 0;
    // Sets the modification time to now, creating a missing file.
    virtual bool TouchFile(const char* path) = 0;
    virtual bool Exists(const char* path, bool* exists) = 0;
    virtual long Length(const char* path) = 0;
    virtual bool IsDirectory(const char* path, bool* directory) = 0;
    virtual bool ModifiedTime(const char* path, time_t* time) = 0;
    virtual bool MakeDirectory(const char* path) = 0;
    virtual bool RemoveDirectory(const char* path) = 0;
    virtual bool MakeSymbolicLink(const char* target, const char* link) = 0;
    virtual bool Mode(const char* path, int* mode) = 0;
    virtual bool ChangeMode(const char* path, int mode) = 0;
    // Creates and opens a new file named directory/prefix.N (N in hex); the
    // caller owns *name (new[]).
    virtual File* MakeTemporary(const char* directory, const char* prefix, char** name,
                                int flags) = 0;

    // Contained forms.
    virtual File* Open(Oxin_PathType type, const char* path, int flags) = 0;
    virtual int Lock(Oxin_PathType type, const char* path) = 0;
    virtual bool Delete(Oxin_PathType type, const char* path) = 0;
    virtual bool Copy(Oxin_PathType from_type, const char* from, Oxin_PathType to_type,
                      const char* to) = 0;
    virtual bool Rename(Oxin_PathType from_type, const char* from, Oxin_PathType to_type,
                        const char* to) = 0;
    virtual bool TouchFile(Oxin_PathType type, const char* path) = 0;
    virtual bool Exists(Oxin_PathType type, const char* path, bool* exists) = 0;
    virtual long Length(Oxin_PathType type, const char* path) = 0;
    virtual bool IsDirectory(Oxin_PathType type, const char* path, bool* directory) = 0;
    virtual bool ModifiedTime(Oxin_PathType type, const char* path, time_t* time) = 0;
    virtual bool MakeDirectory(Oxin_PathType type, const char* path) = 0;
    virtual bool RemoveDirectory(Oxin_PathType type, const char* path) = 0;
    virtual bool MakeSymbolicLink(Oxin_PathType target_type, const char* target,
                                  Oxin_PathType link_type, const char* link) = 0;
    virtual bool Mode(Oxin_PathType type, const char* path, int* mode) = 0;
    virtual bool ChangeMode(Oxin_PathType type, const char* path, int mode) = 0;
    virtual File* MakeTemporary(Oxin_PathType type, const char* directory, const char* prefix,
                                char** name, int flags) = 0;
    // MakeTemporary with the directory and prefix split off path.
    virtual File* MakeTemporaryLike(Oxin_PathType type, const char* path, char** name,
                                    int flags) = 0;
    // Appends every entry of the directory, "." and ".." included.
    virtual bool DirectoryListing(Oxin_PathType type, const char* path, List<String>* names) = 0;

    virtual const String& error() { return error_; }
    virtual void Error(const String& text) { error_ = text; }
    void Error(const char* text) { error_.assign(text, -1); }
    virtual const char* pathseparator() { return "/"; }
    // The path as a script would see it, collapsed, without touching the
    // disk; a new[] text.
    virtual char* NormalizeContainedPath(Oxin_PathType type, const char* path, int* length,
                                         int* capacity) = 0;

    // Descriptor cache.
    // Makes room for count more descriptors by deactivating the least
    // recently opened files; false when count alone exceeds max_files.
    virtual bool FreeFileSpace(int count);
    virtual void FileOpened(File* file);
    virtual void FileClosed(File* file);
    virtual void DeactivateFile(File* file);
    // Reopens an inactive file, making room first; refreshes an active one.
    virtual bool ActivateFile(File* file);
    virtual void MaxFiles(int max_files) { max_files_ = max_files; }
    virtual void SecurityOptions(int options) { security_options_ = options; }

    OxinApplication* app() const { return app_; }
    // The failures that tests plan for the files of this manager.
    FaultInjection& faults() { return faults_; }
    int max_files() const { return max_files_; }
    int security_options() const { return security_options_; }
    int active_count() { return active_.Entries(); }
    int inactive_count() { return inactive_.Entries(); }

  protected:
    OxinApplication* app_;
    String error_;
    int max_files_ = 0;
    int security_options_ = 0;
    List<File> active_{0};
    List<File> inactive_{0};
    FaultInjection faults_;
};
