#pragma once

#include <string>

#include "base/StringClass.h"
#include "host/HTTPContentParser.h"

class File;
class FileManager;
class OxinVM;

// multipart/form-data, as browsers send forms with files. The body comes in
// blocks and is never held whole: a machine of named states takes one byte
// at a time (some bytes twice, when a state only hands them on) and keeps
// its place between blocks. It matches the boundary line, reads each part's
// Content-Disposition and Content-Type headers (any other header fails the
// form), and scans the data for the next boundary, also across blocks. Data
// of a plain field becomes a variable; a file part streams into a temporary
// file, offered to the script through its functions Oxin_ValidateFileUpload
// (before) and Oxin_ProcessFileUpload (after), and deleted afterwards. The
// first failure ends the machine, with its text in error().
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

    // What the machine waits for next.
    enum class State {
        FirstBoundary,         // the rest of the boundary on the body's first line
        BoundaryLine,          // the CR that ends the first line, taken as the boundary
        BoundaryLineEnd,       // the CR behind a boundary
        BoundaryLineJunk,      // the CR behind junk on the boundary line: a failure
        LineFeed,              // the LF of a boundary or header line
        HeaderLine,            // a header name, or the CR of the empty line
        HeaderName,            // the rest of a header name and its ":"
        ContentType,           // the value of Content-Type, up to CR
        DispositionType,       // the ";" behind the disposition type
        ParameterStart,        // the first byte of a disposition parameter's name
        ParameterName,         // the rest of its name and the "="
        ParameterValue,        // its value, up to ";" or CR
        HeadersLineFeed,       // the LF of the empty line that ends the headers
        PartStart,             // the first byte of a part's data
        Data,                  // the first byte of a boundary inside the data
        BoundaryInBlock,       // the rest of a boundary begun in this block
        BoundaryAcrossBlocks,  // the rest of a boundary begun in an earlier block
        BoundaryEnd,           // CR for another part, or "-" for the end
        SecondDash,            // the second "-" of the closing boundary
        Done,                  // nothing: the form is complete
        Failed,                // nothing: the form failed
    };
    // Whether a state has used up its byte or hands it to the next state.
    enum class Byte { Taken, SeenAgain };
    using Handler = Byte (MultipartFormParser::*)(unsigned char byte);
    // The handler of a state that reads bytes.
    static Handler HandlerOf(State state);

    // One handler for each state that reads bytes, in the order of State.
    Byte MatchFirstBoundary(unsigned char byte);
    Byte LearnBoundary(unsigned char byte);
    Byte EndBoundaryLine(unsigned char byte);
    Byte SkipBoundaryJunk(unsigned char byte);
    Byte ExpectLineFeed(unsigned char byte);
    Byte StartHeader(unsigned char byte);
    Byte ReadHeaderName(unsigned char byte);
    Byte ReadContentType(unsigned char byte);
    Byte SkipDispositionType(unsigned char byte);
    Byte StartParameter(unsigned char byte);
    Byte ReadParameterName(unsigned char byte);
    Byte ReadParameterValue(unsigned char byte);
    Byte EndHeaders(unsigned char byte);
    Byte StartPart(unsigned char byte);
    Byte ScanData(unsigned char byte);
    Byte MatchBoundaryInBlock(unsigned char byte);
    Byte MatchBoundaryAcrossBlocks(unsigned char byte);
    Byte EndBoundary(unsigned char byte);
    Byte ExpectSecondDash(unsigned char byte);

    // The byte continues the boundary at index_ (and index_ moves on).
    bool ContinuesBoundary(unsigned char byte);
    // The block has ended in the present state: hands on the data seen.
    void EndBlock(int length);
    Byte Fail(const char* text);
    // "Found " + byte + expected, and the machine fails.
    Byte Found(unsigned char byte, const char* expected);
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
    State state_;
    // The block that Parse is in, the byte at hand and where the data of
    // the present part begins in the block.
    const char* block_ = nullptr;
    int at_ = 0;
    int data_start_ = 0;
    FileState file_state_ = kWriting;
    long maximum_ = 0;
};
