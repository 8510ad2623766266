#include "network/LoggingNetworkConnection.h"

LoggingNetworkConnection::LoggingNetworkConnection(OxinApplication* application, const char* host,
                                                   int host_length, int port,
                                                   NetworkConnection* connection)
    : NetworkConnection(application),
      host_(host ? host : "", host ? host_length : 0),
      port_(port),
      connection_(connection) {}

bool LoggingNetworkConnection::EstablishTLSConnection(const char* sni_host, x509_st* certificate,
                                                      evp_pkey_st* key, int timeout) {
    return connection_->EstablishTLSConnection(sni_host, certificate, key, timeout);
}

x509_st* LoggingNetworkConnection::Server_Certificate() {
    return connection_->Server_Certificate();
}

void LoggingNetworkConnection::Read_Result(const char* data, int result) {
    if (result < 0) {
        Log_Read_Error();
    } else if (result > 0) {
        Log_Read_Data(data, result);
    }
}

int LoggingNetworkConnection::Read(char* buffer, int length, int timeout) {
    int result = connection_->Read(buffer, length, timeout);
    Read_Result(buffer, result);
    return result;
}

int LoggingNetworkConnection::ReadLine(String& out, int timeout, int block) {
    int result = connection_->ReadLine(out, timeout, block);
    Read_Result(out.c_str(), result);
    return result;
}

int LoggingNetworkConnection::Write(const char* buffer, int length, int timeout) {
    int result = connection_->Write(buffer, length, timeout);
    if (result < 0) {
        Log_Write_Error();
    } else if (result > 0) {
        Log_Write_Data(buffer, result);
    }
    return result;
}

const String& LoggingNetworkConnection::error() const {
    return connection_->error();
}

void LoggingNetworkConnection::Error(const String& text) {
    connection_->Error(text);
}
