#include "application/StandardOutput.h"

#include <unistd.h>

int StandardOutput::Write(const char* text, int length) {
    int written = BufferedOutput::Write(text, length);
    if (!buffered_) Flush();
    return written;
}

int StandardOutput::DoWrite(const char* text, int length) {
    int done = 0;
    while (done < length) {
        ssize_t written = write(descriptor_, text + done, length - done);
        if (written <= 0) return done > 0 ? done : static_cast<int>(written);
        done += static_cast<int>(written);
    }
    return done;
}
