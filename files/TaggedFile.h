#pragma once

#include <cstdint>
#include <memory>

#include "base/StringClass.h"

class File;
class FileManager;

// Section ids of a compiled file: four ASCII letters read as a little-endian
// word.
constexpr uint32_t kSectionDict = 0x74636964;        // "dict"
constexpr uint32_t kSectionSyst = 0x74737973;        // "syst"
constexpr uint32_t kSectionGlbl = 0x6C626C67;        // "glbl"
constexpr uint32_t kSectionLocl = 0x6C636F6C;        // "locl"
constexpr uint32_t kSectionLocd = 0x64636F6C;        // "locd"
constexpr uint32_t kSectionSegs = 0x73676573;        // "segs"
constexpr uint32_t kSectionFunc = 0x636E7566;        // "func"
constexpr uint32_t kSectionTokenIndexOld = 0;        // one token index for a whole old file
constexpr uint32_t kCompiledFileMagic = 0x6E69784F;  // "Oxin"
constexpr uint32_t kCompiledFileVersionFirst = 0x10001;
constexpr uint32_t kCompiledFileVersionLast = 0x1000B;
// Files up to this version keep one token index under section id 0.
constexpr uint32_t kCompiledFileVersionOneTokenIndex = 0x10007;

// The token index section of the language with this entry number: "LX"
// followed by the entry number as u16.
inline uint32_t TokenIndexSectionId(int language) {
    return (static_cast<uint32_t>(language) << 16) | 0x584C;
}

struct TaggedFile_DirectoryEntry {
    uint32_t id;
    uint32_t offset;  // from the start of the file
    uint32_t length;
};

// A tagged binary file: a 32-byte header, sections, and a directory of
// (id, offset, length) that locates each section. The reading side finds
// sections through the directory; the writing side appends sections and
// writes the directory and header at the end.
//
// No operation raises. Failures return false or -1 and leave the text in
// error().
class TaggedFile {
  public:
    static constexpr int kHeaderSize = 32;
    static constexpr int kDirectoryEntrySize = 12;
    static constexpr int kDirectoryGrowth = 16;
    // Mode of Create: create, truncate, read and write.
    static constexpr int kCreateMode = 15;

    explicit TaggedFile(FileManager* manager);
    virtual ~TaggedFile();
    TaggedFile(const TaggedFile&) = delete;
    TaggedFile& operator=(const TaggedFile&) = delete;

    // Closes any open file, opens path through the file manager with the
    // manager's open flags in mode, then reads the header and the directory.
    // On failure the file is closed again.
    bool Open(const char* path, int mode);
    // The same on a file the caller has opened, which is the TaggedFile's
    // from here on; on failure it is closed and the path emptied.
    bool Open(const char* path, std::unique_ptr<File> file);
    // Creates (truncating) path and writes a header with the given 16-byte
    // signature (null: zeros) and version (0: the newest). The directory
    // starts empty with room for 16 entries.
    bool Create(const char* path, const unsigned char* signature = nullptr, uint32_t version = 0);
    // Deletes the open file, if any.
    void Close();
    // Releases the descriptor through the file manager; the file reopens
    // itself on its next use.
    void Deactivate();

    // Makes the section current and starts reading at its first byte;
    // *size receives its length. See Find_Section for which section that is.
    bool Section_Read_Start(uint32_t id, int* size = nullptr);
    // Reads up to size bytes at the read position of the current section
    // and advances it. A read that would pass the end is cut to what
    // remains; one starting past the end fails with -1. Returns the count.
    int Section_Read(void* buffer, int size);
    // Forgets the current section.
    void Section_Read_End();
    // Reads up to size bytes at offset within section id, making it current,
    // without touching the read position; bounds as above.
    int Section_Read(uint32_t id, int offset, void* buffer, int size);
    // Bytes between the read position and the end of the current section,
    // or of the file if that comes first: an upper bound for what a reader
    // may allocate.
    int Section_Remaining() const;

    // Ends an open section (one with a nonzero id), then opens section id at
    // the present file position.
    bool Section_Start(uint32_t id);
    // Appends to the open section; returns the count written or -1.
    int Section_Write(const void* buffer, int size);
    // Adds the open section to the directory and clears the open id.
    bool Section_End();
    // Ends an open section, then writes the directory after the last
    // section and rewrites the header to point at it.
    bool Section_Flush();

    bool Header_Read();
    bool Header_Write();
    bool Directory_Read();
    bool Directory_Write();

    uint32_t id() const { return id_; }
    uint32_t version() const { return version_; }
    // Four words, opaque.
    const uint32_t* signature() const { return signature_; }
    uint32_t directory_offset() const { return directory_offset_; }
    int directory_entries() const { return directory_entries_; }
    // The entry, or null when i is out of range.
    const TaggedFile_DirectoryEntry* directory_entry(int i) const;
    const String& path() const { return path_; }
    File* file() const { return file_; }
    FileManager* filemanager() const { return manager_; }

    virtual const String& error() { return error_; }
    virtual void Error(const String& text) { error_ = text; }
    void Error(const char* text) { error_.assign(text, -1); }

  private:
    // Keeps the current section if it has the id; otherwise the first
    // directory entry with the id becomes current. When none has it the
    // current section stays as it was, so only a null current section fails.
    bool Find_Section(uint32_t id);
    // Reads at offset of the current section, cutting at its end.
    int Read_At(int64_t offset, void* buffer, int size);
    bool Seek(int64_t position, const char* failure);
    bool Write_Bytes(const unsigned char* bytes, int size);
    void Reset();

    FileManager* manager_;
    File* file_ = nullptr;
    String path_;
    String error_;

    uint32_t id_ = 0;
    uint32_t version_ = 0;
    uint32_t signature_[4] = {};
    uint32_t directory_offset_ = 0;
    int directory_entries_ = 0;
    TaggedFile_DirectoryEntry* directory_ = nullptr;
    int directory_capacity_ = 0;

    int current_ = -1;  // directory index of the current section
    int64_t read_position_ = 0;

    uint32_t open_id_ = 0;
    int64_t open_offset_ = 0;
    int64_t open_length_ = 0;
};
