#include "files/UNIXFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "application/OxinApplication.h"
#include "files/FileManager.h"
#include "files/UNIXFileManager.h"

UNIXFile::UNIXFile(FileManager* manager, int contained, Oxin_PathType type, const char* path,
                   int fd, int open_flags)
    : File(manager, contained, type, path),
      fd_(fd),
      open_flags_(open_flags & ~(O_CREAT | O_EXCL | O_TRUNC)) {}

UNIXFile::~UNIXFile() {
    Release();
    if (fd_ >= 0) close(fd_);
    if (manager_) manager_->FileClosed(this);
}

bool UNIXFile::Ready() {
    if (fd_ >= 0) return true;
    if (!manager_) {
        Error(String("File is closed"));
        return false;
    }
    if (manager_->ActivateFile(this)) return true;
    Error(manager_->error());
    return false;
}

bool UNIXFile::SystemError() {
    Error(String(manager_ ? manager_->app()->lasterror() : "Unknown error"));
    return false;
}

bool UNIXFile::Stat(struct stat* status) {
    if (!Ready()) return false;
    if (fstat(fd_, status) != 0) return SystemError();
    return true;
}

bool UNIXFile::OwnerID(int* uid) {
    struct stat status;
    if (!Stat(&status)) return false;
    *uid = static_cast<int>(status.st_uid);
    return true;
}

bool UNIXFile::GroupID(int* gid) {
    struct stat status;
    if (!Stat(&status)) return false;
    *gid = static_cast<int>(status.st_gid);
    return true;
}

// A failure that a test planned: the operation fails with an I/O error.
bool UNIXFile::Injected(FileFault kind) {
    if (!manager_ || !manager_->faults().Fail(kind)) return false;
    errno = EIO;
    SystemError();
    return true;
}

bool UNIXFile::Positioned() {
    return position_ >= 0;
}

int UNIXFile::Read(char* buffer, int length) {
    if (!Ready() || Injected(FileFault::kRead)) return -1;
    ssize_t n = Positioned() ? pread(fd_, buffer, length, position_) : read(fd_, buffer, length);
    if (n < 0) {
        SystemError();
    } else if (Positioned()) {
        position_ += n;
    }
    return static_cast<int>(n);
}

int UNIXFile::Write(const char* buffer, int length) {
    if (!Ready()) return -1;
    // A planned failure tears the write: half of it reaches the disk.
    if (manager_ && manager_->faults().Fail(FileFault::kWrite)) {
        if (length > 1) Write(buffer, length / 2);
        errno = EIO;
        SystemError();
        return -1;
    }
    ssize_t n = Positioned() ? pwrite(fd_, buffer, length, position_) : write(fd_, buffer, length);
    if (n < 0) {
        SystemError();
    } else if (Positioned()) {
        position_ += n;
    }
    return static_cast<int>(n);
}

long UNIXFile::Seek(long position) {
    if (!Ready()) return -1;
    if (seekable_ < 0) {
        seekable_ = (open_flags_ & O_APPEND) == 0 && lseek(fd_, 0, SEEK_CUR) >= 0;
    }
    if (seekable_ && position >= 0) {
        position_ = position;
        return position;
    }
    off_t at = lseek(fd_, position, SEEK_SET);
    if (at < 0) SystemError();
    return at;
}

long UNIXFile::Tell() {
    if (!Ready()) return -1;
    if (Positioned()) return position_;
    off_t at = lseek(fd_, 0, SEEK_CUR);
    if (at < 0) SystemError();
    return at;
}

long UNIXFile::Length() {
    struct stat status;
    if (!Stat(&status)) return -1;
    return S_ISFIFO(status.st_mode) ? 0 : status.st_size;
}

bool UNIXFile::Truncate(long length) {
    if (!Ready()) return false;
    if (ftruncate(fd_, length) != 0) return SystemError();
    return true;
}

bool UNIXFile::IsDirectory(bool* directory) {
    struct stat status;
    if (!Stat(&status)) return false;
    *directory = S_ISDIR(status.st_mode);
    return true;
}

bool UNIXFile::RecordLock(short type, long offset, long length) {
    if (!Ready()) return false;
    if (type != F_UNLCK && Injected(FileFault::kLock)) return false;
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = offset;
    lock.l_len = length;
    int rc;
    do {
        rc = fcntl(fd_, F_SETLKW, &lock);
    } while (rc != 0 && errno == EINTR && !(manager_ && manager_->app()->cancelled()));
    if (rc != 0) return SystemError();
    return true;
}

bool UNIXFile::Lock(FileLockType type, long offset, long length) {
    return RecordLock(type == FileLockWrite ? F_WRLCK : F_RDLCK, offset, length);
}

bool UNIXFile::Release(long offset, long length) {
    return RecordLock(F_UNLCK, offset, length);
}

const char* UNIXFile::Map(long offset, long length) {
    Release();
    if (!Ready()) return nullptr;
    if (length == -1) length = Length();
    if (length <= 0) {
        Error(String("Invalid argument"));
        return nullptr;
    }
    void* address = mmap(nullptr, length, PROT_READ, MAP_SHARED, fd_, offset);
    if (address == MAP_FAILED) {
        SystemError();
        return nullptr;
    }
    map_address_ = address;
    map_length_ = length;
    return static_cast<const char*>(address);
}

void UNIXFile::Release() {
    if (!map_address_) return;
    munmap(map_address_, map_length_);
    map_address_ = nullptr;
    map_length_ = 0;
}

bool UNIXFile::Activate(String& error) {
    if (Injected(FileFault::kOpen)) {
        error = error_;
        return false;
    }
    if (contained_) {
        auto* manager = static_cast<UNIXFileManager*>(manager_);
        fd_ = manager->OpenContained(path_type_, path_, open_flags_);
        if (fd_ < 0) {
            error = manager->error();
            return false;
        }
    } else {
        fd_ = open(path_, open_flags_);
        if (fd_ < 0) {
            error.assign(manager_->app()->lasterror(), -1);
            return false;
        }
    }
    openings_++;
    if (!Positioned() && saved_position_ != 0 &&
        lseek(fd_, saved_position_, SEEK_SET) != saved_position_) {
        error.assign("Unable to restore file position during activation", -1);
        close(fd_);
        fd_ = -1;
        return false;
    }
    return true;
}

void UNIXFile::Deactivate() {
    if (fd_ < 0) return;
    if (!Positioned()) saved_position_ = lseek(fd_, 0, SEEK_CUR);
    close(fd_);
    fd_ = -1;
}
