// The file family of the exported interface: contained paths named by a
// location number, and open files. Every path goes through the engine's
// file manager, so a library is held to the same roots as a script.

#include <ctime>

#include "application/Config.h"
#include "application/ConfigKeys.h"
#include "application/OxinApplication.h"
#include "base/List.h"
#include "extensions/oxin_extension.h"
#include "files/File.h"
#include "files/FileManager.h"
#include "host/exports/ExportSupport.h"
#include "runtime/OxinVM.h"
#include "variables/Variable.h"

namespace {

enum Location { kLocationScript = 1, kLocationCommerce = 3 };

FileManager* files(OxinVM* vm) {
    return vm ? vm->oxinapplication()->filemanager() : nullptr;
}

// A path of a location, ready for the file manager.
struct LocatedPath {
    LocatedPath(OxinVM* vm, int location, const char* path, int length)
        : manager(path ? files(vm) : nullptr) {
        if (manager) type = static_cast<Oxin_PathType>(__oxFile_Location(vm, location, path, length, &text));
    }
    explicit operator bool() const { return manager != nullptr; }
    const char* c_str() const { return text.c_str(); }

    FileManager* manager;
    Oxin_PathType type = OxinPathData;
    String text;
};

int status(bool succeeded) {
    return succeeded ? 0 : -1;
}

}  // namespace

int __oxFile_Location(OxinVM* vm, int location, const char* path, int length, String* out) {
    length = measured(path, length);
    out->assign("", 0);
    if (location == kLocationScript) {
        if (length == 0 || path[0] != '/') out->assign(vm->basescriptdir().c_str(), vm->basescriptdir().length());
        out->cat(path ? path : "", length);
        return OxinPathScript;
    }
    if (location == kLocationCommerce) {
        int prefix_length = 0;
        const char* prefix = vm->oxinapplication()->config()->value_string(kConfigDirCommerce,
                                                                           &prefix_length);
        if (prefix && prefix_length > 0) {
            out->assign(prefix, prefix_length);
            if (prefix[prefix_length - 1] != '/' && (length == 0 || path[0] != '/')) out->cat('/');
        }
    }
    out->cat(path ? path : "", length);
    return OxinPathData;
}

extern "C" {

File* oxFile_Open(OxinVM* vm, int location, const char* path, int length, int flags) {
    LocatedPath located(vm, location, path, length);
    return located ? located.manager->Open(located.type, located.c_str(), flags) : nullptr;
}

int oxFile_Delete(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    return status(located && located.manager->Delete(located.type, located.c_str()));
}

int oxFile_Rename(OxinVM* vm, int from_location, const char* from, int from_length,
                  int to_location, const char* to, int to_length) {
    LocatedPath source(vm, from_location, from, from_length);
    LocatedPath target(vm, to_location, to, to_length);
    return status(source && target &&
                  source.manager->Rename(source.type, source.c_str(), target.type, target.c_str()));
}

int oxFile_Exists(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    bool exists = false;
    return located && located.manager->Exists(located.type, located.c_str(), &exists) && exists;
}

long oxFile_Size(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    return located ? located.manager->Length(located.type, located.c_str()) : -1;
}

long oxFile_Time(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    time_t time;
    if (!located || !located.manager->ModifiedTime(located.type, located.c_str(), &time)) return -1;
    return static_cast<long>(time);
}

int oxFile_IsDirectory(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    bool directory = false;
    return located && located.manager->IsDirectory(located.type, located.c_str(), &directory) &&
           directory;
}

int oxFile_MakeDirectory(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    return status(located && located.manager->MakeDirectory(located.type, located.c_str()));
}

int oxFile_RemoveDirectory(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    return status(located && located.manager->RemoveDirectory(located.type, located.c_str()));
}

int oxFile_Mode(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    int mode;
    return located && located.manager->Mode(located.type, located.c_str(), &mode) ? mode : -1;
}

int oxFile_Change_Mode(OxinVM* vm, int location, const char* path, int length, int mode) {
    LocatedPath located(vm, location, path, length);
    return status(located && located.manager->ChangeMode(located.type, located.c_str(), mode));
}

int oxFile_Copy(OxinVM* vm, int from_location, const char* from, int from_length,
                int to_location, const char* to, int to_length) {
    LocatedPath source(vm, from_location, from, from_length);
    LocatedPath target(vm, to_location, to, to_length);
    return status(source && target &&
                  source.manager->Copy(source.type, source.c_str(), target.type, target.c_str()));
}

int oxFile_MakeSymbolicLink(OxinVM* vm, int target_location, const char* target,
                            int target_length, int link_location, const char* link,
                            int link_length) {
    LocatedPath to(vm, target_location, target, target_length);
    LocatedPath made(vm, link_location, link, link_length);
    return status(to && made &&
                  to.manager->MakeSymbolicLink(to.type, to.c_str(), made.type, made.c_str()));
}

char* oxFile_NormalizePath(OxinVM* vm, int location, const char* path, int length,
                           int* out_length) {
    LocatedPath located(vm, location, path, length);
    if (!located) return nullptr;
    int normalized_length, capacity;
    char* normalized = located.manager->NormalizeContainedPath(located.type, located.c_str(),
                                                               &normalized_length, &capacity);
    if (normalized && out_length) *out_length = normalized_length;
    return normalized;
}

int oxFile_TouchFile(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    return status(located && located.manager->TouchFile(located.type, located.c_str()));
}

int oxFile_LockFile(OxinVM* vm, int location, const char* path, int length) {
    LocatedPath located(vm, location, path, length);
    if (!located) return -1;
    switch (located.manager->Lock(located.type, located.c_str())) {
        case 0:
            return 1;  // acquired
        case 1:
            return 0;  // timed out
        case 3:
            return -2;
        default:
            return -1;
    }
}

File* oxFile_MakeTemporary(OxinVM* vm, int location, const char* path, int length, int flags,
                           char** name, int* name_length) {
    if (name) *name = nullptr;
    LocatedPath located(vm, location, path, length);
    if (!located) return nullptr;
    char* made = nullptr;
    File* file = located.manager->MakeTemporaryLike(located.type, located.c_str(), &made, flags);
    if (file && name_length) *name_length = made ? measured(made, -1) : 0;
    if (name)
        *name = made;
    else
        delete[] made;
    return file;
}

int oxFile_OwnerID(File* file) {
    int uid;
    return file && file->OwnerID(&uid) ? uid : -1;
}

int oxFile_GroupID(File* file) {
    int gid;
    return file && file->GroupID(&gid) ? gid : -1;
}

int oxFile_Read(File* file, char* buffer, int length) {
    return file && buffer ? file->Read(buffer, length) : -1;
}

int oxFile_Write(File* file, const char* buffer, int length) {
    return file && buffer ? file->Write(buffer, length) : -1;
}

long oxFile_Seek(File* file, long position) {
    return file ? file->Seek(position) : -1;
}

long oxFile_Tell(File* file) {
    return file ? file->Tell() : -1;
}

long oxFile_Length(File* file) {
    return file ? file->Length() : -1;
}

int oxFile_Lock(File* file, int type, long offset, long length) {
    return status(file && file->Lock(type == 2 ? FileLockWrite : FileLockRead, offset, length));
}

int oxFile_Release(File* file, long offset, long length) {
    return status(file && file->Release(offset, length));
}

void oxFile_Close(File* file) {
    delete file;
}

char* oxFile_Resolve(OxinVM* vm, int, const char*, int) {
    if (FileManager* manager = files(vm)) manager->Error("oxFile_Resolve is no longer supported");
    return nullptr;
}

const char* oxFile_Path_Separator(OxinVM* vm) {
    FileManager* manager = files(vm);
    return manager ? manager->pathseparator() : "/";
}

const char* oxFile_Error(OxinVM* vm, File* file, int* length) {
    FileManager* manager = files(vm);
    const String* error = file ? &file->error() : manager ? &manager->error() : nullptr;
    const char* text = error ? error->c_str() : "";
    if (length) *length = error ? error->length() : 0;
    return text;
}

int oxDirectory_Listing(OxinVM* vm, int location, const char* path, int length, Variable* array) {
    FileManager* manager = files(vm);
    if (!manager || !path || !array) return -1;
    // Only the script location changes the class; the path stays as given.
    Oxin_PathType type = location == kLocationScript ? OxinPathScript : OxinPathData;
    String directory(path, measured(path, length));
    List<String> names(1);
    if (!manager->DirectoryListing(type, directory.c_str(), &names)) return -1;
    int count = 0;
    for (String* name = names.First(); name; name = names.Next(), count++) {
        auto* entry = new Variable("", 0, name->c_str(), name->length());
        array->InsertElement(0, entry);
        entry->DecRefCount();
    }
    return count;
}

}  // extern "C"
