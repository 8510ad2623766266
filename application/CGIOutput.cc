#include "application/CGIOutput.h"

#include <unistd.h>

#include "application/OxinApplication.h"

void CGIOutput::OutputHeaders() {
    HTTPOutput_Chain block(8192, true);
    for (HTTPOutput_Header* header = headers().First(); header; header = headers().Next()) {
        block.Write(header->name, header->name_length);
        block.Write(": ", 2);
        block.Write(header->value, header->value_length);
        block.Write("\r\n", 2);
    }
    block.Write("\r\n", 2);
    DoWrite(block.buffer, block.used);
}

int CGIOutput::DoWrite(const char* text, int length) {
    ssize_t written = write(descriptor_, text, length);
    if (written < 0 && application_) application_->Cancelled();
    return static_cast<int>(written);
}
