#pragma once

#include "application/BufferedOutput.h"
#include "base/StringClass.h"

class NetworkConnection;

// An output that sends what a script prints over a network connection,
// buffered, each write bounded by the timeout. Headers go to the output
// that was current before it. Write errors are not reported to the script;
// error() gives the connection's text.
class NetworkOutput : public BufferedOutput {
  public:
    // Neither parent nor connection is owned; both outlive the output.
    NetworkOutput(Output* parent, NetworkConnection* connection, int size, int timeout);
    // Flushes what is still buffered.
    ~NetworkOutput() override;

    int Header(const char* name, const char* value) override;
    int Header(const char* name, int name_length, int name_owned, const char* value,
               int value_length, int value_owned) override;
    const String& error() const;

  protected:
    int DoWrite(const char* text, int length) override;

  private:
    Output* parent_;
    int timeout_;
    NetworkConnection* connection_;
};
