// oxin-clean-uploads [--older-than MINUTES] DIRECTORY...
// Removes the upload temporaries (OXIN_FUP.<hex>) that requests cut off in
// the middle of a file left in a data directory. Only regular files of that
// name directly in the directory, last changed more than MINUTES ago
// (default 60), are removed; links and subdirectories are never touched.
// Prints each removed path; exit status 0, 1 when a directory or a file
// could not be handled, 2 for wrong usage.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace {

constexpr char kPrefix[] = "OXIN_FUP.";

bool is_upload_temporary(const char* name) {
    size_t prefix = sizeof(kPrefix) - 1;
    if (strncmp(name, kPrefix, prefix) != 0 || name[prefix] == '\0') return false;
    for (const char* c = name + prefix; *c; c++) {
        if (!isxdigit(static_cast<unsigned char>(*c))) return false;
    }
    return true;
}

// Removes the old temporaries of one directory; false on any failure.
bool clean(const char* directory, time_t older_than) {
    DIR* listing = opendir(directory);
    if (!listing) {
        fprintf(stderr, "oxin-clean-uploads: %s: %s\n", directory, strerror(errno));
        return false;
    }
    bool ok = true;
    int at = dirfd(listing);
    while (dirent* entry = readdir(listing)) {
        if (!is_upload_temporary(entry->d_name)) continue;
        struct stat status;
        if (fstatat(at, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (!S_ISREG(status.st_mode) || status.st_mtime >= older_than) continue;
        std::string path = std::string(directory) + "/" + entry->d_name;
        if (unlinkat(at, entry->d_name, 0) != 0) {
            fprintf(stderr, "oxin-clean-uploads: %s: %s\n", path.c_str(), strerror(errno));
            ok = false;
            continue;
        }
        printf("%s\n", path.c_str());
    }
    closedir(listing);
    return ok;
}

int usage() {
    fprintf(stderr, "usage: oxin-clean-uploads [--older-than MINUTES] DIRECTORY...\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    long minutes = 60;
    int first = 1;
    if (argc > 2 && strcmp(argv[1], "--older-than") == 0) {
        char* end;
        minutes = strtol(argv[2], &end, 10);
        if (*argv[2] == '\0' || *end != '\0' || minutes < 0) return usage();
        first = 3;
    }
    if (first >= argc) return usage();
    time_t older_than = time(nullptr) - minutes * 60;
    bool ok = true;
    for (int i = first; i < argc; i++)
        ok = clean(argv[i], older_than) && ok;
    return ok ? 0 : 1;
}
