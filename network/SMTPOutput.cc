#include "network/SMTPOutput.h"

#include <cstring>

SMTPOutput::SMTPOutput(Output* parent, NetworkConnection* connection, int size, int timeout)
    : NetworkOutput(parent, connection, size, timeout) {}

int SMTPOutput::WriteLineBytes(const char* text, int length) {
    int count = 0;
    while (count < length && text[count] != '\r' && text[count] != '\n')
        count++;
    ended_line_ = 0;
    Put(text, count);
    return count;
}

int SMTPOutput::Write(const char* text, int length) {
    length = Measured(text, length);
    for (int at = 0; at < length;) {
        char c = text[at];
        bool cr = c == '\r', lf = c == '\n', dot = c == '.';
        switch (state_) {
            case kStart:
                state_ = cr ? kStartCR : lf ? kStartLF : dot ? kDot : kInLine;
                if (cr || lf || dot) at++;
                break;
            case kStartCR:
            case kStartLF:
                if ((state_ == kStartCR && lf) || (state_ == kStartLF && cr)) {
                    state_ = kStartEnded;
                    at++;
                } else {
                    state_ = dot ? kDot : kInLine;
                    if (dot) at++;
                }
                break;
            case kStartEnded:
                state_ = dot ? kDot : kInLine;
                if (dot) at++;
                break;
            case kInLine:
                if (cr || lf) {
                    state_ = cr ? kCR : kLF;
                    at++;
                } else {
                    at += WriteLineBytes(text + at, length - at);
                }
                break;
            case kCR:
            case kLF:
                if ((state_ == kCR && lf) || (state_ == kLF && cr)) at++;
                state_ = kLineEnded;
                break;
            case kLineEnded:
                ended_line_ = 1;
                Put("\r\n", 2);
                state_ = dot ? kDot : kInLine;
                if (dot) at++;
                break;
            case kDot:
                ended_line_ = 0;
                Put("..", cr || lf ? 2 : 1);
                state_ = kInLine;
                break;
        }
    }
    return length;
}

int SMTPOutput::FlushAndTerminate() {
    if (state_ == kCR || state_ == kLF || state_ == kLineEnded) {
        ended_line_ = 1;
        Put("\r\n", 2);
    } else if (state_ == kDot) {
        ended_line_ = 0;
        Put("..", 2);
    }
    state_ = kInLine;
    if (ended_line_)
        Put(".\r\n", 3);
    else
        Put("\r\n.\r\n", 5);
    return Flush();
}
