#pragma once

// The libraries of one kind that the configuration registered by name
// (commerce, database or system libraries), as the script's view of the
// configuration lists them.
class LibraryNames {
  public:
    LibraryNames() = default;
    LibraryNames(const LibraryNames&) = delete;
    LibraryNames& operator=(const LibraryNames&) = delete;
    virtual ~LibraryNames() = default;

    // The name of the first library in the order of registration, or null
    // when there is none; *length gets its length.
    virtual const char* First_Name(int* length) = 0;
    // The name after the one that First_Name or Next_Name gave last, or
    // null at the end.
    virtual const char* Next_Name(int* length) = 0;
    // Whether a library of name (length -1: up to the NUL) is registered.
    virtual bool Has_Library(const char* name, int length) = 0;
};
