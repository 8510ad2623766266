#include "statements/OxinVMLoggingNetworkConnection.h"

#include <memory>

#include "application/LogParameter.h"
#include "application/OxinApplication.h"
#include "base/Base64.h"
#include "runtime/OxinVM.h"

OxinVMLoggingNetworkConnection::OxinVMLoggingNetworkConnection(OxinApplication* application,
                                                               const char* host, int host_length,
                                                               int port,
                                                               NetworkConnection* connection,
                                                               void* data)
    : LoggingNetworkConnection(application, host, host_length, port, connection) {
    auto* place = static_cast<OxinVMLoggingNetworkConnectionData*>(data);
    kind_ = place->kind;
    script_ = place->vm->Current_Filename();
    int length;
    const char* source = place->vm->Current_SourceFile(&length);
    source_ = String(source, length);
    line_ = place->vm->Current_LineNumber();
}

void OxinVMLoggingNetworkConnection::Log_Record(const char* word, const char* data, int length) {
    std::unique_ptr<char[]> encoded;
    int encoded_length = 0;
    if (data) {
        encoded = std::make_unique<char[]>(length / 3 * 4 + 4);
        encoded_length = ox_base64_encode(data, encoded.get(), length);
    }
    LogParameter parameters[] = {
        LogParameter::Text(script_.c_str(), script_.length()),
        LogParameter::Text(source_.c_str(), source_.length()),
        LogParameter::Integer(line_),
        LogParameter::Text(host().c_str(), host().length()),
        LogParameter::Integer(port()),
        LogParameter::Text(word, -1),
        data ? LogParameter::Text(encoded.get(), encoded_length) : LogParameter::End(),
        LogParameter::End(),
    };
    application_->Log(kind_, parameters);
}

void OxinVMLoggingNetworkConnection::Log_Read_Data(const char* data, int length) {
    Log_Record("Received", data, length);
}

void OxinVMLoggingNetworkConnection::Log_Write_Data(const char* data, int length) {
    Log_Record("Sent", data, length);
}

void OxinVMLoggingNetworkConnection::Log_Read_Error() {
    Log_Record("Read Error");
}

void OxinVMLoggingNetworkConnection::Log_Write_Error() {
    Log_Record("Write Error");
}
