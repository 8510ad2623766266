#pragma once

#include "files/File.h"

// A File on a POSIX descriptor. fd is -1 while the file is deactivated; every
// operation then first asks the manager to reactivate it.
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
    bool IsDirectory(bool* directory) override;
    bool Lock(FileLockType type, long offset, long length) override;
    bool Release(long offset, long length) override;
    const char* Map(long offset, long length) override;
    void Release() override;
    bool Activate(String& error) override;
    void Deactivate() override;

    using File::Read;
    using File::Write;

    int fd() const { return fd_; }

  private:
    // Reactivates through the manager when needed; false with the error set.
    bool Ready();
    bool SystemError();
    bool Stat(struct stat* status);
    bool RecordLock(short type, long offset, long length);

    int fd_;
    void* map_address_ = nullptr;
    long map_length_ = 0;
    int open_flags_;
    long saved_position_ = 0;
};
