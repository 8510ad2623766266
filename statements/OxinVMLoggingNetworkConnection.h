#pragma once

#include "base/StringClass.h"
#include "network/LoggingNetworkConnection.h"

class OxinVM;

// What a statement hands to the logged form of OpenURL or of an SMTP
// connection: the machine whose place the records name, and their kind.
struct OxinVMLoggingNetworkConnectionData {
    OxinVM* vm;
    unsigned kind;
};

// A connection whose traffic goes to the log as records of one kind, each
// naming the script, source file and line where the statement opened it,
// the host and port, and "Received" or "Sent" with the bytes in base64, or
// "Read Error" or "Write Error". Made only where the kind is to be logged,
// so it tests nothing again.
class OxinVMLoggingNetworkConnection : public LoggingNetworkConnection {
  public:
    // data points to an OxinVMLoggingNetworkConnectionData, which is read
    // here and not kept.
    OxinVMLoggingNetworkConnection(OxinApplication* application, const char* host,
                                   int host_length, int port, NetworkConnection* connection,
                                   void* data);

  protected:
    void Log_Read_Data(const char* data, int length) override;
    void Log_Write_Data(const char* data, int length) override;
    void Log_Read_Error() override;
    void Log_Write_Error() override;

  private:
    // A record of the word, with the data in base64 when there is data.
    void Log_Record(const char* word, const char* data = nullptr, int length = 0);

    unsigned kind_;
    String script_;
    String source_;
    int line_;
};
