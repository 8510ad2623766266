#pragma once

#include "application/HTTPOutput.h"

class OxinApplication;

// The response of a CGI request, on standard output: the headers as the
// web server expects them (no status line), then the body. A client that
// has gone away cancels the request.
class CGIOutput : public HTTPOutput {
  public:
    explicit CGIOutput(OxinApplication* application, int descriptor = 1)
        : HTTPOutput(8192, 0x100000), application_(application), descriptor_(descriptor) {}

  protected:
    // "Name: value" lines in the order the headers were set, then a blank
    // line, in one write.
    void OutputHeaders() override;
    int DoWrite(const char* text, int length) override;

  private:
    OxinApplication* application_;
    int descriptor_;
};
