#pragma once

#include <string>

#include "base/StringClass.h"
#include "host/process/HTTPContentParser.h"

class File;
class FileManager;
class OxinVM;

// multipart/form-data, as browsers send forms with files: a resumable
// machine over the bytes as they arrive. Plain fields become variables;
// file parts stream into a temporary file, offered to the script through
// its functions Oxin_ValidateFileUpload (before) and Oxin_ProcessFileUpload
// (after); the temporary is deleted afterwards.
class MultipartFormParser : public HTTPContentParser {
  public:
    // content_type: the whole header, whose boundary parameter is taken.
    MultipartFormParser(OxinVM* vm, FileManager* files, VariableHash* target, int limit,
                        const char* content_type);
    // Closes a temporary file still open; the file stays on the disk.
    ~MultipartFormParser() override;

    bool Parse(const char* data, int length) override;
    // Always succeeds: a part cut off by the end of the body is lost.
    bool Finalize() override { return true; }

    bool Form_Fragment_Start();
    bool Form_Fragment_Write(const char* data, int length);
    bool Form_Fragment_End();

    const std::string& boundary() const { return boundary_; }

  private:
    enum FileState { kWriting = 0, kTruncated = 1, kSkipped = 2 };

    // The state after byte at, or -1 when the byte must be seen again.
    void Step(const char* data, int at, bool* again, int* start);
    void Found(unsigned char byte, const char* expected);
    void StoreParameter();
    String FileNameUnquoted() const;

    OxinVM* vm_;
    FileManager* files_;
    int limit_;
    int count_ = 0;
    std::string boundary_;
    std::string parameter_name_;
    std::string parameter_value_;
    std::string header_name_;
    std::string content_type_;
    size_t index_ = 0;
    std::string field_name_;
    std::string file_name_;
    String status_;
    long received_ = 0;
    String temporary_name_;
    File* temporary_ = nullptr;
    std::string value_;
    int state_;
    FileState file_state_ = kWriting;
    long maximum_ = 0;
};
