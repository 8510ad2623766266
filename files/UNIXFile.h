#pragma once

#include "files/FaultInjection.h"
#include "files/File.h"

// A File on a POSIX descriptor. fd is -1 while the file is deactivated; every
// operation then first asks the manager to reactivate it.
//
// After a Seek on a regular file the position is kept here and reads and
// writes go to it directly (pread, pwrite), so that positioning costs no
// system call of its own; the descriptor's own offset is then not used.
// Files opened for appending, and pipes, keep the descriptor's offset.
class UNIXFile : public File {
  public:
    // Wraps fd, opened with open_flags (the system's O_ flags); a reopen
    // uses them without create, exclusive and truncate.
    UNIXFile(FileManager* manager, int contained, Oxin_PathType type, const char* path, int fd,
             int open_flags);
    ~UNIXFile() override;

    bool OwnerID(int* uid) override;
    bool GroupID(int* gid) override;
    int Read(char* buffer, int length) override;
    int Write(const char* buffer, int length) override;
    long Seek(long position) override;
    long Tell() override;
    long Length() override;
    bool Truncate(long length) override;
    bool IsDirectory(bool* directory) override;
    bool Lock(FileLockType type, long offset, long length) override;
    bool Release(long offset, long length) override;
    const char* Map(long offset, long length) override;
    void Release() override;
    bool Activate(String& error) override;
    void Deactivate() override;

    using File::Read;
    using File::Write;

  private:
    // Reactivates through the manager when needed; false with the error set.
    bool Ready();
    bool SystemError();
    bool Injected(FileFault kind);
    bool Stat(struct stat* status);
    bool RecordLock(short type, long offset, long length);
    bool Positioned();

    int fd_;
    void* map_address_ = nullptr;
    long map_length_ = 0;
    int open_flags_;
    long saved_position_ = 0;
    long position_ = -1;  // the kept position; -1 while the descriptor's counts
    int seekable_ = -1;   // unknown until the first Seek
};
