#include "files/File.h"

#include <cstring>

#include "files/FileManager.h"

File::File(FileManager* manager, int contained, Oxin_PathType type, const char* path)
    : manager_(manager), contained_(contained), path_type_(type) {
    size_t length = path ? strlen(path) : 0;
    path_ = new char[length + 1];
    if (length) memcpy(path_, path, length);
    path_[length] = 0;
}

File::~File() {
    delete[] path_;
    if (manager_) manager_->FileClosed(this);
}

bool File::ReadExactly(void* buffer, int length) {
    int got = Read(static_cast<char*>(buffer), length);
    if (got == length) return true;
    if (got >= 0) Error(String("unexpected end of file"));
    return false;
}
