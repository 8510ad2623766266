#pragma once

#include "network/NetworkOutput.h"

// The DATA section of a mail: what the script prints goes out with every
// line ending (CR, LF, CRLF or LFCR) made CRLF, one line ending at the very
// start dropped, and a line of a single dot doubled so that it cannot end
// the mail early.
class SMTPOutput : public NetworkOutput {
  public:
    SMTPOutput(Output* parent, NetworkConnection* connection, int size, int timeout);

    int Write(const char* text, int length) override;
    // Ends the DATA section: closes an open line ending or dot, writes the
    // terminating dot line and flushes. The flush's result, negative when
    // the connection failed.
    virtual int FlushAndTerminate();

  private:
    // Where the byte stream stands; see Write.
    enum State { kStart = 0, kStartCR, kStartLF, kStartEnded, kInLine, kCR, kLF, kLineEnded, kDot };

    // Writes the run of ordinary line bytes at text, up to the next CR or
    // LF; the count taken.
    int WriteLineBytes(const char* text, int length);
    void Put(const char* text, int length) { NetworkOutput::Write(text, length); }

    int state_ = kStart;
    // Whether what went out so far ends in a line ending.
    int ended_line_ = 1;
};
