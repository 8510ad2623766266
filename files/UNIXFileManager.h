#pragma once

#include <sys/stat.h>

#include <memory>

#include "files/FileManager.h"

class UNIXFilePath;

// How far paths of one class may wander: the root's handle and path and the
// security bits that apply.
struct _UNIXContainedPathSettings {
    int fd = -1;
    UNIXFilePath* path = nullptr;
    unsigned char allow_symlinks = 0;
    unsigned char allow_other_owner = 0;
    unsigned char allow_absolute = 0;
};

// The FileManager of POSIX systems. Each path class has a root directory held
// open by handle; a contained operation walks from it with fchdir, checks
// every step against the class's rules, and acts on a bare name in the
// current directory. The process's current directory therefore changes with
// every contained operation.
class UNIXFileManager : public FileManager {
  public:
    explicit UNIXFileManager(OxinApplication* app);
    // A manager for a cloned application: the root handles are duplicated.
    UNIXFileManager(OxinApplication* app, const UNIXFileManager& other);
    ~UNIXFileManager() override;

    File* Open(const char* path, int flags) override;
    int Lock(const char* path) override;
    bool Delete(const char* path) override;
    bool Copy(const char* from, const char* to) override;
    bool Rename(const char* from, const char* to) override;
    bool TouchFile(const char* path) override;
    bool Exists(const char* path, bool* exists) override;
    long Length(const char* path) override;
    bool IsDirectory(const char* path, bool* directory) override;
    bool ModifiedTime(const char* path, time_t* time) override;
    bool MakeDirectory(const char* path) override;
    bool RemoveDirectory(const char* path) override;
    bool MakeSymbolicLink(const char* target, const char* link) override;
    bool Mode(const char* path, int* mode) override;
    bool ChangeMode(const char* path, int mode) override;
    File* MakeTemporary(const char* directory, const char* prefix, char** name, int flags) override;

    File* Open(Oxin_PathType type, const char* path, int flags) override;
    int Lock(Oxin_PathType type, const char* path) override;
    bool Delete(Oxin_PathType type, const char* path) override;
    bool Copy(Oxin_PathType from_type, const char* from, Oxin_PathType to_type,
              const char* to) override;
    bool Rename(Oxin_PathType from_type, const char* from, Oxin_PathType to_type,
                const char* to) override;
    bool TouchFile(Oxin_PathType type, const char* path) override;
    bool Exists(Oxin_PathType type, const char* path, bool* exists) override;
    long Length(Oxin_PathType type, const char* path) override;
    bool IsDirectory(Oxin_PathType type, const char* path, bool* directory) override;
    bool ModifiedTime(Oxin_PathType type, const char* path, time_t* time) override;
    bool MakeDirectory(Oxin_PathType type, const char* path) override;
    bool RemoveDirectory(Oxin_PathType type, const char* path) override;
    bool MakeSymbolicLink(Oxin_PathType target_type, const char* target, Oxin_PathType link_type,
                          const char* link) override;
    bool Mode(Oxin_PathType type, const char* path, int* mode) override;
    bool ChangeMode(Oxin_PathType type, const char* path, int mode) override;
    File* MakeTemporary(Oxin_PathType type, const char* directory, const char* prefix, char** name,
                        int flags) override;
    File* MakeTemporaryLike(Oxin_PathType type, const char* path, char** name, int flags) override;
    bool DirectoryListing(Oxin_PathType type, const char* path, List<String>* names) override;
    char* NormalizeContainedPath(Oxin_PathType type, const char* path, int* length,
                                 int* capacity) override;

    // Set up the roots. dir must be absolute; user names the owner of a
    // per-user script directory for the error texts (may be null).
    bool InitializeScriptDirectory(const char* dir, const char* user);
    bool InitializeDataDirectory(const char* dir);
    bool InitializeTempDirectory(const char* dir);

    // Opens path of the class with the system's open flags (O_*), never
    // following a link that the class's rules refuse and never leaving the
    // root; returns the descriptor or -1.
    int OpenContained(Oxin_PathType type, const char* path, int open_flags);
    bool SaveCurrentDirectory();
    bool RestoreCurrentDirectory();

    // Result codes of RealizePath.
    enum { kRealized = 0, kMissing = 1, kSymbolicLink = 2, kOtherOwner = 3 };
    // Changes into path and checks that it is expected, or that every link
    // on the way is allowed; the real path goes to *out (new, caller owns).
    int RealizePath(UNIXFilePath* expected, const char* path, UNIXFilePath** out,
                    bool allow_symlinks, bool allow_other_owner);
    int RealizePath(const char* expected, const char* path, UNIXFilePath** out, bool allow_symlinks,
                    bool allow_other_owner);
    // Fills settings for the class; false when its root is not set up.
    bool ContainedPathSettings(Oxin_PathType type, _UNIXContainedPathSettings* settings);
    // Changes into directory of the class after every check; *out (when
    // given) receives the realized path, which the caller owns.
    bool RealizeContainedPath(Oxin_PathType type, const char* directory, UNIXFilePath** out);
    bool RealizeContainedPath(Oxin_PathType type, _UNIXContainedPathSettings* settings,
                              const char* directory, UNIXFilePath** out);
    // stat of a contained file, opened for reading.
    bool Stat(Oxin_PathType type, const char* path, struct stat* status);

    // The system's O_ flags for the manager's open flags.
    static int SystemOpenFlags(int flags);

  private:
    struct LinkTrail;
    // OpenFollowing: a create raced with another; look again.
    enum { kOpenRetry = -2 };

    // Records the system's text for errno; returns false.
    bool SystemError();
    // A failure that a test planned: true, with an I/O error as the text.
    bool Injected(FileFault kind);
    // Records text; returns false.
    bool Fail(const char* text);
    bool InitializeRoot(const char* dir, const char* word, const char* user, int symlink_bit,
                        int other_owner_bit, std::unique_ptr<UNIXFilePath>* root, int* fd);
    bool EnterRoot(const _UNIXContainedPathSettings* settings);
    // RealizeContainedPath that also reports the RealizePath result code
    // (-1 when the failure came before or outside RealizePath).
    bool RealizeContained(Oxin_PathType type, _UNIXContainedPathSettings* settings,
                          const char* directory, UNIXFilePath** out, int* result);
    // Realizes the directory of path; *name gets the bare file name.
    bool RealizeParent(Oxin_PathType type, const char* path, String* name,
                       UNIXFilePath** out = nullptr);
    // Opens name in the current directory (the realized *current), following
    // links by hand where the settings allow them.
    int OpenName(const _UNIXContainedPathSettings& settings, UNIXFilePath** current, String* name,
                 int open_flags);
    // Moves from the link name to what it names: *current and *name are
    // replaced. *missing tells that the target was not there when looked at.
    int OpenFollowing(const _UNIXContainedPathSettings& settings, LinkTrail* trail,
                      UNIXFilePath** current, String* name, int flags, bool creating);
    // The descriptor when its file belongs to owner; else closed and -1.
    int KeepIfOwnedBy(int fd, uid_t owner);
    bool FollowLink(const _UNIXContainedPathSettings& settings, LinkTrail* trail,
                    UNIXFilePath** current, String* name, bool* missing);
    bool CopyDescriptors(int from, int to);
    bool CheckTemporaryPrefix(const char* prefix);
    File* CreateTemporary(int contained, Oxin_PathType type, const char* open_in,
                          const char* directory, const char* prefix, char** name, int flags);
    File* WrapDescriptor(int contained, Oxin_PathType type, const char* path, int fd,
                         int open_flags, int flags);

    std::unique_ptr<UNIXFilePath> script_root_;
    int script_fd_ = -1;
    std::unique_ptr<UNIXFilePath> data_root_;
    int data_fd_ = -1;
    std::unique_ptr<UNIXFilePath> temp_root_;
    int temp_fd_ = -1;
    int saved_directory_ = -1;
};
