// Lock files that work across processes and hosts, also on NFS, where
// O_EXCL and record locks cannot be trusted: a private file named after the
// taker is hard-linked under the lock's name, and link is atomic. The lock
// file names its holder, so a dead holder on this host is noticed at once and
// a holder on another host is broken by age.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "application/Config.h"
#include "application/OxinApplication.h"
#include "base/MD5Encoder.h"
#include "files/UNIXFileManager.h"
#include "files/UNIXFilePath.h"

namespace {

// Who holds a lock, as its file tells: "pid!tid:host".
struct LockHolder {
    unsigned pid = 0;
    unsigned tid = 0;
    const char* host = nullptr;
};

LockHolder parse_holder(char* text) {
    LockHolder holder;
    if (char* colon = strchr(text, ':')) {
        *colon = 0;
        holder.host = colon + 1;
    }
    holder.pid = static_cast<unsigned>(strtoul(text, nullptr, 10));
    if (char* bang = strchr(text, '!'))
        holder.tid = static_cast<unsigned>(strtoul(bang + 1, nullptr, 10));
    return holder;
}

// Reads the holder's text from the lock file; false when it went away.
bool read_holder(const char* path, char* text) {
    int fd = open(path, O_RDONLY);
    if (fd < 0) return false;
    ssize_t n = read(fd, text, 511);
    close(fd);
    if (n < 0) return false;
    text[n] = 0;
    return true;
}

void sleep_milliseconds(int milliseconds) {
    struct timeval delay;
    delay.tv_sec = milliseconds / 1000;
    delay.tv_usec = (milliseconds % 1000) * 1000;
    select(0, nullptr, nullptr, nullptr, &delay);
}

String private_lock_name(const char* path, const char* host, unsigned pid, unsigned tid) {
    unsigned char digest[16];
    char hex[33];
    MD5Encoder md5;
    md5.Encode(reinterpret_cast<const unsigned char*>(host), static_cast<unsigned>(strlen(host)),
               digest);
    MD5Encoder::Make_Printable(digest, hex);
    char tail[64];
    snprintf(tail, sizeof tail, ".%u.%u", pid, tid);
    String name(path);
    name.cat('.');
    name.cat(hex, 32);
    name.cat(tail, -1);
    return name;
}

}  // namespace

int UNIXFileManager::Lock(const char* path) {
    if (!FreeFileSpace(1)) return 2;
    unsigned pid = static_cast<unsigned>(app_->processid());
    unsigned tid = static_cast<unsigned>(app_->threadid());
    const char* host = app_->lockhostname();
    if (!host) host = "";
    String private_name = private_lock_name(path, host, pid, tid);
    char contents[512];
    int length = snprintf(contents, sizeof contents, "%u!%u:%s", pid, tid, host);
    if (length >= static_cast<int>(sizeof contents)) length = sizeof contents - 1;

    int fd = open(private_name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_TRUNC, 0664);
    if (fd < 0) {
        // A private file of this name is another try's: leave it alone.
        if (errno != EEXIST) {
            int saved = errno;
            unlink(private_name.c_str());
            errno = saved;
        }
        SystemError();
        return 2;
    }
    struct stat mine;
    errno = 0;
    if (write(fd, contents, length) != length || fstat(fd, &mine) != 0) {
        if (errno == 0) errno = EIO;
        SystemError();
        close(fd);
        unlink(private_name.c_str());
        return 2;
    }
    close(fd);

    int expiration = app_->lockexpiration();
    int delay = app_->config()->value_integer(kConfigDelayFile);
    for (;;) {
        if (app_->cancelled()) {
            unlink(private_name.c_str());
            Error("Timed out waiting for lock");
            return 1;
        }
        int linked = link(private_name.c_str(), path);
        if (linked != 0 && errno != EEXIST) {
            SystemError();
            unlink(private_name.c_str());
            return 2;
        }
        struct stat held;
        if (lstat(path, &held) != 0) continue;
        if (linked == 0 && held.st_ino == mine.st_ino && held.st_rdev == mine.st_rdev) {
            unlink(private_name.c_str());
            return 0;
        }
        char text[512];
        if (!read_holder(path, text)) continue;
        LockHolder holder = parse_holder(text);
        if (holder.pid != 0 && holder.host && strcmp(holder.host, host) == 0) {
            if (holder.pid == pid && (holder.tid == 0 || holder.tid == tid)) {
                unlink(private_name.c_str());
                Error("Possible deadlock detected");
                return 2;
            }
            if (kill(static_cast<pid_t>(holder.pid), 0) != 0 && errno == ESRCH) {
                unlink(path);
                continue;
            }
        } else if (expiration != 0) {
            time_t now = time(nullptr);
            if (lstat(path, &held) == 0 && now - held.st_mtime >= expiration) {
                unlink(path);
                continue;
            }
        }
        sleep_milliseconds(delay > 0 ? delay : 0);
    }
}

int UNIXFileManager::Lock(Oxin_PathType type, const char* path) {
    UNIXFilePath parsed(path);
    String directory = parsed.Collapsed_Directory();
    if (!RealizeContainedPath(type, directory.c_str(), nullptr)) return 2;
    String name = parsed.Collapsed_Filename();
    return Lock(name.c_str());
}
