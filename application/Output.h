#pragma once

// Where a script's printing goes: the web response, a mail body, a task's
// discarded output, standard output. Every Write accepts -1 as the length
// (measure up to the NUL) and returns the number of bytes accepted.
class Output {
  public:
    // Values of flags(): the whitespace compression of Write_Compressed.
    static constexpr int kCompressFull = 1;
    static constexpr int kCompressFast = 2;

    Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    virtual ~Output() = default;

    // Writes text and flushes; the result of the write.
    virtual int Write_Error(const char* text, int length);
    // Takes a header; the strings whose owned flag is set pass to the output
    // (from new[]) even when it refuses. 1 when taken. Here: refused.
    virtual int Header(const char* name, const char* value);
    virtual int Header(const char* name, int name_length, int name_owned, const char* value,
                       int value_length, int value_owned);
    virtual int Write(const char* text, int length) = 0;
    // Writes text with runs of white space shrunk as flags() asks.
    virtual int Write_Compressed(const char* text, int length);
    virtual int Flush() = 0;
    virtual int Flush(int final) = 0;
    // 0 buffered, 1 HTTP, 2 null.
    virtual int type() = 0;
    virtual int flags() { return flags_; }
    virtual void SetFlags(int flags) { flags_ = flags; }
    // Drops the first byte when it is white space after white space.
    virtual int Write_Compressed_Fast(const char* text, int length);
    // Keeps only the first byte of every run of white space.
    virtual int Write_Compressed_Full(const char* text, int length);

  protected:
    static int Measured(const char* text, int length);

    int flags_ = 0;
    int last_was_space_ = 1;
};
