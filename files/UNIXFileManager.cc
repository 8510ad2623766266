#include "files/UNIXFileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <set>
#include <utility>

#include "application/OxinApplication.h"
#include "files/UNIXFile.h"
#include "files/UNIXFilePath.h"

// The links met while following one name, by device and inode.
struct UNIXFileManager::LinkTrail {
    std::set<std::pair<dev_t, ino_t>> seen;
};

static const int kCopyBlock = 8192;
static const int kDirectoryBuffer = 4096;
static const int kLinkBuffer = 4095;
static const long kTemporaryTries = 0x7fffffff;

static const char* const kTextDirectoryMissing =
    "The specified path references a directory that does not exist";
static const char* const kTextSymbolicLink = "The specified path references a symbolic link";
static const char* const kTextDirectoryOtherOwner =
    "The specified path references a symbolic link to a directory owned by a different user";
static const char* const kTextLinkOtherOwner =
    "The specified path references a symbolic link to a directory or file owned by a different "
    "user";
static const char* const kTextRecursiveLink =
    "The specified path references a recursive symbolic link";

static const char* class_word(Oxin_PathType type) {
    switch (type) {
        case OxinPathScript:
            return "script";
        case OxinPathTemporary:
            return "temporary";
        default:
            return "data";
    }
}

static String outside_text(Oxin_PathType type) {
    String text("The specified path references a path outside the configured ");
    text.cat(class_word(type), -1);
    text.cat(" directory", -1);
    return text;
}

static const char* realize_text(int result) {
    switch (result) {
        case UNIXFileManager::kSymbolicLink:
            return kTextSymbolicLink;
        case UNIXFileManager::kOtherOwner:
            return kTextDirectoryOtherOwner;
        default:
            return kTextDirectoryMissing;
    }
}

static char* new_text(const String& text) {
    char* copy = new char[text.length() + 1];
    memcpy(copy, text.c_str(), text.length());
    copy[text.length()] = 0;
    return copy;
}

static std::unique_ptr<UNIXFilePath> copy_path(const UNIXFilePath* path) {
    if (!path) return nullptr;
    String text = path->Span(0, path->elements() - 1);
    return std::make_unique<UNIXFilePath>(text.c_str(), text.length());
}

// The collapsed elements of path from first on, joined; "." when none.
static String collapsed_from(UNIXFilePath& path, int first) {
    String text("", 0);
    for (int i = first; i < path.collapsed_count(); i++) {
        if (text.length() > 0) text.cat('/');
        text.cat(path.Collapsed(i), -1);
    }
    if (text.length() == 0) text.assign(".", 1);
    return text;
}

// The working directory as a parsed path; null when it cannot be read.
static UNIXFilePath* current_directory() {
    char buffer[kDirectoryBuffer];
    if (!getcwd(buffer, sizeof(buffer))) return nullptr;
    return new UNIXFilePath(buffer);
}

static void give(UNIXFilePath* path, UNIXFilePath** out) {
    if (out) {
        *out = path;
    } else {
        delete path;
    }
}

UNIXFileManager::UNIXFileManager(OxinApplication* app) : FileManager(app) {}

UNIXFileManager::UNIXFileManager(OxinApplication* app, const UNIXFileManager& other)
    : FileManager(app) {
    max_files_ = other.max_files_;
    security_options_ = other.security_options_;
    script_root_ = copy_path(other.script_root_.get());
    data_root_ = copy_path(other.data_root_.get());
    temp_root_ = copy_path(other.temp_root_.get());
    script_fd_ = other.script_fd_ >= 0 ? dup(other.script_fd_) : -1;
    data_fd_ = other.data_fd_ >= 0 ? dup(other.data_fd_) : -1;
    temp_fd_ = other.temp_fd_ >= 0 ? dup(other.temp_fd_) : -1;
}

UNIXFileManager::~UNIXFileManager() {
    for (int fd : {script_fd_, data_fd_, temp_fd_, saved_directory_}) {
        if (fd >= 0) close(fd);
    }
}

bool UNIXFileManager::SystemError() {
    Error(String(app()->lasterror()));
    return false;
}

bool UNIXFileManager::Injected(FileFault kind) {
    if (!faults_.Fail(kind)) return false;
    errno = EIO;
    SystemError();
    return true;
}

bool UNIXFileManager::Fail(const char* text) {
    Error(String(text));
    return false;
}

// ---------------------------------------------------------------------------
// Roots

bool UNIXFileManager::InitializeRoot(const char* dir, const char* word, const char* user,
                                     int symlink_bit, int other_owner_bit,
                                     std::unique_ptr<UNIXFilePath>* root, int* fd) {
    root->reset();
    String prefix("The configured ");
    prefix.cat(word, -1);
    prefix.cat(" directory", -1);
    if (user && *user) {
        prefix.cat(" for '", -1);
        prefix.cat(user, -1);
        prefix.cat("'", -1);
    }
    if (!dir || dir[0] != '/') {
        prefix.cat(" is not an absolute path", -1);
        Error(prefix);
        return false;
    }
    UNIXFilePath* realized = nullptr;
    int result = RealizePath(dir, dir, &realized, (security_options_ & symlink_bit) != 0,
                             (security_options_ & other_owner_bit) != 0);
    std::unique_ptr<UNIXFilePath> path(realized);
    int handle = open(".", O_RDONLY | O_DIRECTORY);
    if (handle < 0) return SystemError();
    if (result != kRealized) {
        close(handle);
        if (result == kMissing) prefix.cat(" does not exist", -1);
        if (result == kSymbolicLink) prefix.cat(" references a symbolic link", -1);
        if (result == kOtherOwner) {
            prefix.cat(" references a symbolic link to a directory owned by a different user", -1);
        }
        Error(prefix);
        return false;
    }
    if (*fd >= 0) close(*fd);
    *fd = handle;
    *root = std::move(path);
    return true;
}

bool UNIXFileManager::InitializeScriptDirectory(const char* dir, const char* user) {
    if (script_fd_ >= 0) close(script_fd_);
    script_fd_ = -1;
    return InitializeRoot(dir, "script", user, 0x1, 0x2, &script_root_, &script_fd_);
}

bool UNIXFileManager::InitializeDataDirectory(const char* dir) {
    return InitializeRoot(dir, "data", nullptr, 0x4, 0x8, &data_root_, &data_fd_);
}

bool UNIXFileManager::InitializeTempDirectory(const char* dir) {
    return InitializeRoot(dir, "temporary", nullptr, 0x100, 0x200, &temp_root_, &temp_fd_);
}

namespace {

// The security bits that govern one path class; absolute 0 means never.
struct ClassBits {
    int symlinks;
    int other_owner;
    int absolute;
};

void fill_settings(_UNIXContainedPathSettings* settings, int fd, UNIXFilePath* root, int options,
                   ClassBits bits) {
    settings->fd = fd;
    settings->path = root;
    settings->allow_symlinks = (options & bits.symlinks) != 0;
    settings->allow_other_owner = (options & bits.other_owner) != 0;
    settings->allow_absolute = (options & bits.absolute) != 0;
}

}  // namespace

bool UNIXFileManager::ContainedPathSettings(Oxin_PathType type,
                                            _UNIXContainedPathSettings* settings) {
    switch (type) {
        case OxinPathTemporary:
            if (!temp_root_) return ContainedPathSettings(OxinPathData, settings);
            fill_settings(settings, temp_fd_, temp_root_.get(), security_options_,
                          {0x100, 0x200, 0});
            return true;
        case OxinPathScript:
            if (!script_root_) return Fail("There is no configured script directory");
            fill_settings(settings, script_fd_, script_root_.get(), security_options_,
                          {0x1, 0x2, 0x20});
            return true;
        case OxinPathData:
            if (!data_root_) return Fail("There is no configured data directory");
            fill_settings(settings, data_fd_, data_root_.get(), security_options_,
                          {0x4, 0x8, 0x10});
            return true;
    }
    return true;
}

// ---------------------------------------------------------------------------
// Realizing directories

int UNIXFileManager::RealizePath(const char* expected, const char* path, UNIXFilePath** out,
                                 bool allow_symlinks, bool allow_other_owner) {
    UNIXFilePath parsed(expected);
    return RealizePath(&parsed, path, out, allow_symlinks, allow_other_owner);
}

int UNIXFileManager::RealizePath(UNIXFilePath* expected, const char* path, UNIXFilePath** out,
                                 bool allow_symlinks, bool allow_other_owner) {
    if (out) *out = nullptr;
    if (chdir(path) != 0) return kMissing;
    UNIXFilePath* real = current_directory();
    if (!real) return kMissing;
    if (expected->Matches(*real)) {
        give(real, out);
        return kRealized;
    }
    if (!allow_symlinks) {
        delete real;
        return kSymbolicLink;
    }
    if (allow_other_owner) {
        give(real, out);
        return kRealized;
    }
    delete real;
    // A link lies on the way: every level must belong to the owner of the
    // link that leads there.
    int first = 0;
    if (expected->absolute()) {
        if (chdir("/") != 0) return kMissing;
        first = 1;
    }
    for (int i = first; i < expected->collapsed_count(); i++) {
        const char* element = expected->Collapsed(i);
        struct stat link, target;
        if (lstat(element, &link) != 0 || chdir(element) != 0 || stat(".", &target) != 0) {
            return kMissing;
        }
        if (link.st_uid != target.st_uid) return kOtherOwner;
    }
    real = current_directory();
    if (!real) return kMissing;
    give(real, out);
    return kRealized;
}

bool UNIXFileManager::EnterRoot(const _UNIXContainedPathSettings* settings) {
    if (fchdir(settings->fd) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::RealizeContainedPath(Oxin_PathType type, const char* directory,
                                           UNIXFilePath** out) {
    _UNIXContainedPathSettings settings;
    if (!ContainedPathSettings(type, &settings)) return false;
    return RealizeContainedPath(type, &settings, directory, out);
}

bool UNIXFileManager::RealizeContainedPath(Oxin_PathType type, _UNIXContainedPathSettings* settings,
                                           const char* directory, UNIXFilePath** out) {
    int result;
    return RealizeContained(type, settings, directory, out, &result);
}

bool UNIXFileManager::RealizeContained(Oxin_PathType type, _UNIXContainedPathSettings* settings,
                                       const char* directory, UNIXFilePath** out, int* result) {
    *result = -1;
    if (out) *out = nullptr;
    if (!FreeFileSpace(1)) return false;
    UNIXFilePath* realized = nullptr;
    bool absolute = settings->allow_absolute && directory && directory[0] == '/';
    const char* rest = directory ? directory : "";
    if (!absolute) {
        while (*rest == '/')
            rest++;
    }
    if (!*rest || strcmp(rest, ".") == 0) {
        if (!EnterRoot(settings)) return false;
    } else {
        String text(rest);
        if (!absolute) {
            String root = settings->path ? settings->path->Collapsed_Path() : String("");
            text.prepend("/");
            text.prepend(root.c_str(), root.length());
        }
        UNIXFilePath candidate(text.c_str(), text.length());
        if (!settings->path || !settings->path->Contains(candidate)) {
            Error(outside_text(type));
            return false;
        }
        // The walk goes by the collapsed text, so a ".." never touches what
        // lies before it.
        String target = absolute ? candidate.Collapsed_Path()
                                 : collapsed_from(candidate, settings->path->collapsed_count());
        if (!absolute && !EnterRoot(settings)) return false;
        *result = RealizePath(&candidate, target.c_str(), &realized, settings->allow_symlinks,
                              settings->allow_other_owner);
        if (*result != kRealized) return Fail(realize_text(*result));
    }
    *result = kRealized;
    if (!realized && out) realized = copy_path(settings->path).release();
    give(realized, out);
    return true;
}

bool UNIXFileManager::RealizeParent(Oxin_PathType type, const char* path, String* name,
                                    UNIXFilePath** out) {
    UNIXFilePath parsed(path);
    String directory = parsed.Collapsed_Directory();
    if (!RealizeContainedPath(type, directory.c_str(), out)) return false;
    *name = parsed.Collapsed_Filename();
    return true;
}

// ---------------------------------------------------------------------------
// Opening

int UNIXFileManager::OpenContained(Oxin_PathType type, const char* path, int open_flags) {
    UNIXFilePath parsed(path);
    if (!FreeFileSpace(1)) return -1;
    _UNIXContainedPathSettings settings;
    if (!ContainedPathSettings(type, &settings)) return -1;
    UNIXFilePath* current = nullptr;
    String directory = parsed.Collapsed_Directory();
    if (!RealizeContainedPath(type, &settings, directory.c_str(), &current)) return -1;
    String name = parsed.Collapsed_Filename();
    int fd = OpenName(settings, &current, &name, open_flags);
    delete current;
    return fd;
}

int UNIXFileManager::OpenName(const _UNIXContainedPathSettings& settings, UNIXFilePath** current,
                              String* name, int open_flags) {
    bool check_owner = settings.allow_symlinks && !settings.allow_other_owner;
    LinkTrail trail;
    for (;;) {
        // Look first, so that the file finally opened can be held to the
        // owner of what was named.
        uid_t owner = 0;
        bool creating = false;
        int flags = open_flags;
        if (check_owner) {
            struct stat status;
            if (lstat(name->c_str(), &status) == 0) {
                owner = status.st_uid;
            } else if (errno == ENOENT && (flags & O_CREAT)) {
                creating = true;
                flags |= O_EXCL;
            } else {
                SystemError();
                return -1;
            }
        }
        int fd = OpenFollowing(settings, &trail, current, name, flags, creating);
        if (fd == kOpenRetry) continue;  // the file appeared between the look and the open
        if (fd < 0 || creating || !check_owner) return fd;
        return KeepIfOwnedBy(fd, owner);
    }
}

int UNIXFileManager::OpenFollowing(const _UNIXContainedPathSettings& settings, LinkTrail* trail,
                                   UNIXFilePath** current, String* name, int flags, bool creating) {
    for (;;) {
        int fd = open(name->c_str(), flags | O_NOFOLLOW, 0666);
        if (fd >= 0) return fd;
        if (errno == EEXIST && creating) return kOpenRetry;
        if (errno != ELOOP) {
            SystemError();
            return -1;
        }
        if (!settings.allow_symlinks) {
            Fail(kTextSymbolicLink);
            return -1;
        }
        bool missing;
        if (!FollowLink(settings, trail, current, name, &missing)) return -1;
    }
}

int UNIXFileManager::KeepIfOwnedBy(int fd, uid_t owner) {
    struct stat status;
    if (fstat(fd, &status) != 0) {
        SystemError();
        close(fd);
        return -1;
    }
    if (status.st_uid != owner) {
        close(fd);
        Fail(kTextLinkOtherOwner);
        return -1;
    }
    return fd;
}

bool UNIXFileManager::FollowLink(const _UNIXContainedPathSettings& settings, LinkTrail* trail,
                                 UNIXFilePath** current, String* name, bool* missing) {
    char target[kLinkBuffer + 1];
    ssize_t length = readlink(name->c_str(), target, kLinkBuffer);
    if (length < 0) return SystemError();
    target[length] = 0;
    struct stat link;
    if (lstat(name->c_str(), &link) != 0) return SystemError();
    if (!trail->seen.insert({link.st_dev, link.st_ino}).second) return Fail(kTextRecursiveLink);
    struct stat named;
    *missing = lstat(target, &named) != 0;
    if (!*missing && !settings.allow_other_owner && named.st_uid != link.st_uid) {
        return Fail(kTextLinkOtherOwner);
    }
    if (!strchr(target, '/')) {
        name->assign(target, static_cast<int>(length));
        return true;
    }
    String full(target, static_cast<int>(length));
    if (target[0] != '/') {
        String base = (*current)->Collapsed_Path();
        full.prepend("/");
        full.prepend(base.c_str(), base.length());
    }
    UNIXFilePath next(full.c_str(), full.length());
    String directory = next.Collapsed_Directory();
    UNIXFilePath expected(directory.c_str(), directory.length());
    UNIXFilePath* realized = nullptr;
    int result = RealizePath(&expected, directory.c_str(), &realized, settings.allow_symlinks,
                             settings.allow_other_owner);
    if (result != kRealized) {
        *missing = result == kMissing;
        return Fail(realize_text(result));
    }
    delete *current;
    *current = realized;
    *name = next.Collapsed_Filename();
    return true;
}

File* UNIXFileManager::WrapDescriptor(int contained, Oxin_PathType type, const char* path, int fd,
                                      int open_flags, int flags) {
    File* file = new UNIXFile(this, contained, type, path, fd, open_flags);
    if (!(flags & FileOpenUnmanaged)) FileOpened(file);
    return file;
}

int UNIXFileManager::SystemOpenFlags(int flags) {
    int system;
    if ((flags & FileOpenRead) && (flags & FileOpenWrite)) {
        system = O_RDWR;
    } else if (flags & FileOpenWrite) {
        system = O_WRONLY;
    } else {
        system = O_RDONLY;
    }
    if (flags & FileOpenCreate) system |= O_CREAT;
    if (flags & FileOpenTruncate) system |= O_TRUNC;
    if (flags & FileOpenAppend) system |= O_APPEND;
    if (flags & FileOpenExclusive) system |= O_EXCL;
    return system;
}

bool UNIXFileManager::Stat(Oxin_PathType type, const char* path, struct stat* status) {
    // Non-blocking, so that a FIFO answers at once.
    int fd = OpenContained(type, path, O_RDONLY | O_NONBLOCK);
    if (fd < 0) return false;
    bool ok = fstat(fd, status) == 0 || SystemError();
    close(fd);
    return ok;
}

bool UNIXFileManager::SaveCurrentDirectory() {
    if (saved_directory_ >= 0) close(saved_directory_);
    saved_directory_ = open(".", O_RDONLY | O_DIRECTORY);
    if (saved_directory_ < 0) return SystemError();
    return true;
}

bool UNIXFileManager::RestoreCurrentDirectory() {
    if (fchdir(saved_directory_) != 0) return SystemError();
    close(saved_directory_);
    saved_directory_ = -1;
    return true;
}

bool UNIXFileManager::CopyDescriptors(int from, int to) {
    char buffer[kCopyBlock];
    for (;;) {
        ssize_t got = read(from, buffer, sizeof(buffer));
        if (got < 0) return SystemError();
        if (got == 0) return true;
        for (ssize_t done = 0; done < got;) {
            ssize_t put = write(to, buffer + done, got - done);
            if (put < 0) return SystemError();
            done += put;
        }
    }
}

// ---------------------------------------------------------------------------
// Contained operations

File* UNIXFileManager::Open(Oxin_PathType type, const char* path, int flags) {
    if (Injected(FileFault::kOpen)) return nullptr;
    int open_flags = SystemOpenFlags(flags);
    int fd = OpenContained(type, path, open_flags);
    if (fd < 0) return nullptr;
    return WrapDescriptor(1, type, path, fd, open_flags, flags);
}

bool UNIXFileManager::Delete(Oxin_PathType type, const char* path) {
    String name;
    if (!RealizeParent(type, path, &name)) return false;
    if (unlink(name.c_str()) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::Copy(Oxin_PathType from_type, const char* from, Oxin_PathType to_type,
                           const char* to) {
    int source = OpenContained(from_type, from, O_RDONLY);
    if (source < 0) return false;
    struct stat status;
    if (fstat(source, &status) != 0) {
        SystemError();
        close(source);
        return false;
    }
    if (S_ISDIR(status.st_mode)) {
        close(source);
        return Fail("The source file is a directory");
    }
    int target = OpenContained(to_type, to, O_WRONLY | O_CREAT | O_TRUNC);
    if (target < 0) {
        close(source);
        return false;
    }
    bool ok = CopyDescriptors(source, target);
    close(source);
    if (close(target) != 0 && ok) ok = SystemError();
    return ok;
}

bool UNIXFileManager::Rename(Oxin_PathType from_type, const char* from, Oxin_PathType to_type,
                             const char* to) {
    UNIXFilePath source(from);
    UNIXFilePath target(to);
    String directory = source.Collapsed_Directory();
    String target_directory = target.Collapsed_Directory();
    if (from_type == to_type && strcmp(directory.c_str(), target_directory.c_str()) == 0) {
        if (!RealizeContainedPath(from_type, directory.c_str(), nullptr)) return false;
        String from_name = source.Collapsed_Filename();
        String to_name = target.Collapsed_Filename();
        if (rename(from_name.c_str(), to_name.c_str()) != 0) return SystemError();
        return true;
    }
    return Copy(from_type, from, to_type, to) && Delete(from_type, from);
}

bool UNIXFileManager::TouchFile(Oxin_PathType type, const char* path) {
    String name;
    if (!RealizeParent(type, path, &name)) return false;
    struct stat status;
    if (lstat(name.c_str(), &status) != 0) {
        if (errno != ENOENT) return SystemError();
        if (!FreeFileSpace(1)) return false;
        int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW, 0644);
        if (fd < 0) return SystemError();
        close(fd);
        return true;
    }
    if (S_ISLNK(status.st_mode)) {
        // A link is touched through what it names, under the class's rules.
        int fd = OpenContained(type, path, O_RDONLY | O_NONBLOCK);
        if (fd < 0) return false;
        bool ok = futimens(fd, nullptr) == 0 || SystemError();
        close(fd);
        return ok;
    }
    // No-follow: a link put there since the look is not passed through.
    if (utimensat(AT_FDCWD, name.c_str(), nullptr, AT_SYMLINK_NOFOLLOW) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::Exists(Oxin_PathType type, const char* path, bool* exists) {
    *exists = false;
    UNIXFilePath parsed(path);
    _UNIXContainedPathSettings settings;
    if (!ContainedPathSettings(type, &settings)) return false;
    if (!FreeFileSpace(1)) return false;
    UNIXFilePath* current = nullptr;
    String directory = parsed.Collapsed_Directory();
    int result;
    if (!RealizeContained(type, &settings, directory.c_str(), &current, &result)) {
        return result == kMissing;
    }
    String name = parsed.Collapsed_Filename();
    LinkTrail trail;
    bool ok = true;
    for (;;) {
        struct stat status;
        if (lstat(name.c_str(), &status) != 0) {
            ok = errno == ENOENT || errno == ENOTDIR || SystemError();
            break;
        }
        if (!S_ISLNK(status.st_mode)) {
            *exists = true;
            break;
        }
        if (!settings.allow_symlinks) {
            ok = Fail(kTextSymbolicLink);
            break;
        }
        bool missing = false;
        if (!FollowLink(settings, &trail, &current, &name, &missing)) {
            ok = missing;
            break;
        }
    }
    delete current;
    return ok;
}

long UNIXFileManager::Length(Oxin_PathType type, const char* path) {
    struct stat status;
    if (!Stat(type, path, &status)) return -1;
    return S_ISFIFO(status.st_mode) ? 0 : status.st_size;
}

bool UNIXFileManager::IsDirectory(Oxin_PathType type, const char* path, bool* directory) {
    struct stat status;
    if (!Stat(type, path, &status)) return false;
    *directory = S_ISDIR(status.st_mode);
    return true;
}

bool UNIXFileManager::ModifiedTime(Oxin_PathType type, const char* path, time_t* time) {
    struct stat status;
    if (!Stat(type, path, &status)) return false;
    *time = status.st_mtime;
    return true;
}

bool UNIXFileManager::Mode(Oxin_PathType type, const char* path, int* mode) {
    struct stat status;
    if (!Stat(type, path, &status)) return false;
    *mode = static_cast<int>(status.st_mode & 07777);
    return true;
}

bool UNIXFileManager::MakeDirectory(Oxin_PathType type, const char* path) {
    String name;
    if (!RealizeParent(type, path, &name)) return false;
    if (mkdir(name.c_str(), 0777) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::RemoveDirectory(Oxin_PathType type, const char* path) {
    String name;
    if (!RealizeParent(type, path, &name)) return false;
    if (rmdir(name.c_str()) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::MakeSymbolicLink(Oxin_PathType target_type, const char* target,
                                       Oxin_PathType link_type, const char* link) {
    String target_name;
    UNIXFilePath* realized = nullptr;
    if (!RealizeParent(target_type, target, &target_name, &realized)) return false;
    String text = realized->Collapsed_Path();
    delete realized;
    if (strcmp(target_name.c_str(), ".") != 0) {
        if (text.length() == 0 || text.text()[text.length() - 1] != '/') text.cat('/');
        text.cat(target_name.c_str(), target_name.length());
    }
    String link_name;
    if (!RealizeParent(link_type, link, &link_name)) return false;
    if (symlink(text.c_str(), link_name.c_str()) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::ChangeMode(Oxin_PathType type, const char* path, int mode) {
    int fd = OpenContained(type, path, O_RDONLY | O_NONBLOCK);
    if (fd < 0) return false;
    bool ok = fchmod(fd, static_cast<mode_t>(mode)) == 0 || SystemError();
    close(fd);
    return ok;
}

// The name handed back for a temporary file: directory/prefix, with the
// directory left out when it is empty or ".".
static String temporary_base(const char* directory, const char* prefix) {
    String base("", 0);
    if (directory && *directory && strcmp(directory, ".") != 0) {
        base.assign(directory, -1);
        if (base.text()[base.length() - 1] != '/') base.cat('/');
    }
    base.cat(prefix, -1);
    return base;
}

// Creates prefix.N in the current directory, or in directory/ when given,
// for the first free N; returns the descriptor and the number, or -1.
static int create_numbered(const char* where, const char* prefix, int open_flags, long* number) {
    String stem = temporary_base(where, prefix);
    for (long counter = 0; counter < kTemporaryTries; counter++) {
        char suffix[24];
        snprintf(suffix, sizeof(suffix), ".%lx", counter);
        String name(stem);
        name.cat(suffix, -1);
        int fd = open(name.c_str(), open_flags | O_CREAT | O_EXCL, 0666);
        if (fd >= 0) {
            *number = counter;
            return fd;
        }
        if (errno != EEXIST) {
            *number = counter;
            return -1;
        }
    }
    *number = -1;
    return -1;
}

// The full temporary name for number.
static char* temporary_name(const char* directory, const char* prefix, long number) {
    String name = temporary_base(directory, prefix);
    char suffix[24];
    snprintf(suffix, sizeof(suffix), ".%lx", number);
    name.cat(suffix, -1);
    return new_text(name);
}

bool UNIXFileManager::CheckTemporaryPrefix(const char* prefix) {
    if (strchr(prefix, '/')) return Fail("Invalid temporary filename prefix");
    return FreeFileSpace(1);
}

// Creates prefix.N in the directory open_in (null: the current one), and
// names the file after directory.
File* UNIXFileManager::CreateTemporary(int contained, Oxin_PathType type, const char* open_in,
                                       const char* directory, const char* prefix, char** name,
                                       int flags) {
    int open_flags = SystemOpenFlags(flags) | O_CREAT | O_EXCL;
    long number;
    int fd = create_numbered(open_in, prefix, open_flags, &number);
    if (fd < 0) {
        if (number < 0) {
            Error("Unable to generate unique temporary filename");
        } else {
            SystemError();
        }
        return nullptr;
    }
    *name = temporary_name(directory, prefix, number);
    return WrapDescriptor(contained, type, *name, fd, open_flags, flags);
}

File* UNIXFileManager::MakeTemporary(Oxin_PathType type, const char* directory, const char* prefix,
                                     char** name, int flags) {
    if (!prefix) prefix = "";
    if (!CheckTemporaryPrefix(prefix)) return nullptr;
    if (!RealizeContainedPath(type, directory, nullptr)) return nullptr;
    return CreateTemporary(1, type, nullptr, directory, prefix, name, flags);
}

File* UNIXFileManager::MakeTemporaryLike(Oxin_PathType type, const char* path, char** name,
                                         int flags) {
    UNIXFilePath parsed(path);
    String directory = parsed.Collapsed_Directory();
    String prefix = parsed.Collapsed_Filename();
    return MakeTemporary(type, directory.c_str(), prefix.c_str(), name, flags);
}

bool UNIXFileManager::DirectoryListing(Oxin_PathType type, const char* path, List<String>* names) {
    UNIXFilePath parsed(path);
    String directory = parsed.Collapsed_Path();
    if (!RealizeContainedPath(type, directory.c_str(), nullptr)) return false;
    DIR* listing = opendir(".");
    if (!listing) return SystemError();
    while (struct dirent* entry = readdir(listing)) {
        names->Insert(new String(entry->d_name), ListTail);
    }
    closedir(listing);
    return true;
}

char* UNIXFileManager::NormalizeContainedPath(Oxin_PathType type, const char* path, int* length,
                                              int* capacity) {
    _UNIXContainedPathSettings settings;
    if (!ContainedPathSettings(type, &settings)) return nullptr;
    if (!path) path = "";
    String text(path);
    if (settings.allow_absolute && path[0] != '/' && settings.path) {
        String root = settings.path->Collapsed_Path();
        text.prepend("/");
        text.prepend(root.c_str(), root.length());
    } else if (!settings.allow_absolute) {
        const char* rest = path;
        while (*rest == '/')
            rest++;
        text.assign(rest, -1);
    }
    UNIXFilePath parsed(text.c_str(), text.length());
    String collapsed = parsed.Collapsed_Path();
    if (length) *length = collapsed.length();
    if (capacity) *capacity = collapsed.length() + 1;
    return new_text(collapsed);
}

// ---------------------------------------------------------------------------
// Uncontained operations

File* UNIXFileManager::Open(const char* path, int flags) {
    if (Injected(FileFault::kOpen) || !FreeFileSpace(1)) return nullptr;
    int open_flags = SystemOpenFlags(flags);
    int fd = open(path, open_flags, 0666);
    if (fd < 0) {
        SystemError();
        return nullptr;
    }
    return WrapDescriptor(0, OxinPathData, path, fd, open_flags, flags);
}

bool UNIXFileManager::Delete(const char* path) {
    if (unlink(path) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::Copy(const char* from, const char* to) {
    if (!FreeFileSpace(2)) return false;
    int source = open(from, O_RDONLY);
    if (source < 0) return SystemError();
    int target = open(to, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (target < 0) {
        SystemError();
        close(source);
        return false;
    }
    bool ok = CopyDescriptors(source, target);
    close(source);
    if (close(target) != 0 && ok) ok = SystemError();
    return ok;
}

bool UNIXFileManager::Rename(const char* from, const char* to) {
    if (rename(from, to) == 0) return true;
    if (errno != EXDEV) return SystemError();
    return Copy(from, to) && Delete(from);
}

bool UNIXFileManager::TouchFile(const char* path) {
    if (utime(path, nullptr) == 0) return true;
    if (errno != ENOENT) return SystemError();
    if (!FreeFileSpace(1)) return false;
    int fd = open(path, O_WRONLY | O_CREAT, 0644);
    if (fd < 0) return SystemError();
    close(fd);
    return true;
}

bool UNIXFileManager::Exists(const char* path, bool* exists) {
    struct stat status;
    *exists = false;
    if (stat(path, &status) == 0) {
        *exists = true;
        return true;
    }
    // Only this errno counts as an answer; a missing file is an error here.
    if (errno == EEXIST) return true;
    return SystemError();
}

long UNIXFileManager::Length(const char* path) {
    struct stat status;
    if (stat(path, &status) != 0) {
        SystemError();
        return -1;
    }
    return S_ISFIFO(status.st_mode) ? 0 : status.st_size;
}

bool UNIXFileManager::IsDirectory(const char* path, bool* directory) {
    struct stat status;
    if (stat(path, &status) != 0) return SystemError();
    *directory = S_ISDIR(status.st_mode);
    return true;
}

bool UNIXFileManager::ModifiedTime(const char* path, time_t* time) {
    struct stat status;
    if (lstat(path, &status) != 0) return SystemError();
    *time = status.st_mtime;
    return true;
}

bool UNIXFileManager::MakeDirectory(const char* path) {
    if (mkdir(path, 0777) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::RemoveDirectory(const char* path) {
    if (rmdir(path) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::MakeSymbolicLink(const char* target, const char* link) {
    if (symlink(target, link) != 0) return SystemError();
    return true;
}

bool UNIXFileManager::Mode(const char* path, int* mode) {
    struct stat status;
    if (stat(path, &status) != 0) return SystemError();
    *mode = static_cast<int>(status.st_mode & 07777);
    return true;
}

bool UNIXFileManager::ChangeMode(const char* path, int mode) {
    if (chmod(path, static_cast<mode_t>(mode)) != 0) return SystemError();
    return true;
}

File* UNIXFileManager::MakeTemporary(const char* directory, const char* prefix, char** name,
                                     int flags) {
    if (!prefix) prefix = "";
    if (!CheckTemporaryPrefix(prefix)) return nullptr;
    return CreateTemporary(0, OxinPathData, directory, directory, prefix, name, flags);
}
