#include "files/FileManager.h"

#include <initializer_list>

#include "base/TextConversion.h"

FileManager::FileManager(OxinApplication* app) : app_(app) {}

FileManager::~FileManager() {
    // Files that outlive their manager must not call back into it.
    for (List<File>* list : {&active_, &inactive_}) {
        for (File* file = list->First(); file; file = list->Next())
            file->Detach();
    }
}

bool FileManager::FreeFileSpace(int count) {
    if (max_files_ == 0) return true;
    if (count > max_files_) {
        error_.assign("Simultaneous request for ", -1);
        int length, size;
        char* digits = TextConversion::itos(max_files_, &length, &size);
        error_.cat(digits, length);
        delete[] digits;
        error_.cat(" file handles exceeds the maximum number of simultaneous file handles.", -1);
        return false;
    }
    while (active_.Entries() > 0 && active_.Entries() + count > max_files_) {
        File* file = active_.Last();
        active_.Remove(ListTail);
        inactive_.Insert(file, ListHead);
        file->Deactivate();
    }
    return true;
}

void FileManager::FileOpened(File* file) {
    active_.Insert(file, ListHead);
}

void FileManager::FileClosed(File* file) {
    if (active_.Seek(file)) {
        active_.Remove(ListCurrent);
    } else if (inactive_.Seek(file)) {
        inactive_.Remove(ListCurrent);
    }
}

void FileManager::DeactivateFile(File* file) {
    if (!active_.Seek(file)) return;
    active_.Remove(ListCurrent);
    inactive_.Insert(file, ListTail);
    file->Deactivate();
}

bool FileManager::ActivateFile(File* file) {
    if (active_.Seek(file)) {
        active_.Remove(ListCurrent);
        active_.Insert(file, ListHead);
        return true;
    }
    if (!FreeFileSpace(1)) return false;
    if (!inactive_.Seek(file)) {
        Error("Activation request for invalid or non-active file");
        return false;
    }
    String error;
    if (!file->Activate(error)) {
        Error(error);
        return false;
    }
    if (inactive_.Seek(file)) inactive_.Remove(ListCurrent);
    active_.Insert(file, ListHead);
    return true;
}
