// The older oxin_ file and network functions: terminated strings, and a
// location that only chooses the path class (1 the script area, any other
// the data area), with no directory put in front of the path.

#include "application/OxinApplication.h"
#include "extensions/oxin_extension.h"
#include "files/File.h"
#include "files/FileManager.h"
#include "runtime/OxinVM.h"

namespace {

Oxin_PathType __oxin_file_location(int location) {
    return location == 1 ? OxinPathScript : OxinPathData;
}

FileManager* files(OxinVM* vm) {
    return vm ? vm->oxinapplication()->filemanager() : nullptr;
}

int status(bool succeeded) {
    return succeeded ? 0 : -1;
}

}  // namespace

extern "C" {

int oxin_network_isipaddress(OxinVM* vm, const char* host) {
    return oxNetwork_Is_IP_Address(vm, host);
}

int oxin_network_gethostaddress(OxinVM* vm, const char* host, char* buffer, int size) {
    return oxNetwork_Get_Host_Address(vm, host, buffer, size);
}

NetworkConnection* oxin_network_connect(OxinVM* vm, const char* host, int port) {
    return oxNetwork_Connect(vm, host, port);
}

NetworkConnection* oxin_network_openurl(OxinVM* vm, const char* method, const char* url,
                                        const char* content, const char* content_type,
                                        const char* headers, int timeout) {
    return oxNetwork_Open_URL(vm, method, url, content, content_type, -1, headers, timeout);
}

int oxin_network_read(NetworkConnection* connection, char* buffer, int length, int timeout) {
    return oxNetwork_Read(connection, buffer, length, timeout);
}

int oxin_network_readline(NetworkConnection* connection, char* buffer, int size, int timeout) {
    return oxNetwork_Read_Line(connection, buffer, size, timeout);
}

int oxin_network_write(NetworkConnection* connection, const char* buffer, int length,
                       int timeout) {
    return oxNetwork_Write(connection, buffer, length, timeout);
}

void oxin_network_close(NetworkConnection* connection) {
    oxNetwork_Close(connection);
}

const char* oxin_network_error(OxinVM* vm, NetworkConnection* connection) {
    return oxNetwork_Error(vm, connection, nullptr);
}

char* oxin_file_resolve(OxinVM* vm, int, const char*) {
    if (FileManager* manager = files(vm)) manager->Error("oxin_file_resolve is no longer supported");
    return nullptr;
}

File* oxin_file_open(OxinVM* vm, int location, const char* path, int flags) {
    FileManager* manager = files(vm);
    return manager && path ? manager->Open(__oxin_file_location(location), path, flags) : nullptr;
}

int oxin_file_delete(OxinVM* vm, int location, const char* path) {
    FileManager* manager = files(vm);
    return status(manager && path && manager->Delete(__oxin_file_location(location), path));
}

int oxin_file_rename(OxinVM* vm, int from_location, const char* from, int to_location,
                     const char* to) {
    FileManager* manager = files(vm);
    return status(manager && from && to &&
                  manager->Rename(__oxin_file_location(from_location), from,
                                  __oxin_file_location(to_location), to));
}

int oxin_file_exists(OxinVM* vm, int location, const char* path) {
    FileManager* manager = files(vm);
    bool exists = false;
    return manager && path && manager->Exists(__oxin_file_location(location), path, &exists) &&
           exists;
}

long oxin_file_size(OxinVM* vm, int location, const char* path) {
    FileManager* manager = files(vm);
    return manager && path ? manager->Length(__oxin_file_location(location), path) : -1;
}

int oxin_file_isdirectory(OxinVM* vm, int location, const char* path) {
    FileManager* manager = files(vm);
    bool directory = false;
    return manager && path &&
           manager->IsDirectory(__oxin_file_location(location), path, &directory) && directory;
}

int oxin_file_makedirectory(OxinVM* vm, int location, const char* path) {
    FileManager* manager = files(vm);
    return status(manager && path && manager->MakeDirectory(__oxin_file_location(location), path));
}

int oxin_file_removedirectory(OxinVM* vm, int location, const char* path) {
    FileManager* manager = files(vm);
    return status(manager && path &&
                  manager->RemoveDirectory(__oxin_file_location(location), path));
}

int oxin_file_mode(OxinVM* vm, int location, const char* path) {
    FileManager* manager = files(vm);
    int mode;
    return manager && path && manager->Mode(__oxin_file_location(location), path, &mode) ? mode
                                                                                         : -1;
}

int oxin_file_changemode(OxinVM* vm, int location, const char* path, int mode) {
    FileManager* manager = files(vm);
    return status(manager && path &&
                  manager->ChangeMode(__oxin_file_location(location), path, mode));
}

const char* oxin_file_pathseparator(OxinVM* vm) {
    return oxFile_Path_Separator(vm);
}

int oxin_file_read(File* file, char* buffer, int length) {
    return oxFile_Read(file, buffer, length);
}

int oxin_file_write(File* file, const char* buffer, int length) {
    return oxFile_Write(file, buffer, length);
}

long oxin_file_seek(File* file, long position) {
    return oxFile_Seek(file, position);
}

long oxin_file_tell(File* file) {
    return oxFile_Tell(file);
}

long oxin_file_length(File* file) {
    return oxFile_Length(file);
}

int oxin_file_lock(File* file, int type, long offset, long length) {
    return oxFile_Lock(file, type, offset, length);
}

int oxin_file_release(File* file, long offset, long length) {
    return oxFile_Release(file, offset, length);
}

void oxin_file_close(File* file) {
    oxFile_Close(file);
}

const char* oxin_file_error(OxinVM* vm, File* file) {
    return oxFile_Error(vm, file, nullptr);
}

}  // extern "C"
