#include "network/NetworkOutput.h"

#include "network/NetworkConnection.h"

NetworkOutput::NetworkOutput(Output* parent, NetworkConnection* connection, int size, int timeout)
    : BufferedOutput(size), parent_(parent), timeout_(timeout), connection_(connection) {}

NetworkOutput::~NetworkOutput() {
    NetworkOutput::Flush();
}

int NetworkOutput::Header(const char* name, const char* value) {
    return parent_ ? parent_->Header(name, value) : Output::Header(name, value);
}

int NetworkOutput::Header(const char* name, int name_length, int name_owned, const char* value,
                          int value_length, int value_owned) {
    if (parent_)
        return parent_->Header(name, name_length, name_owned, value, value_length, value_owned);
    return Output::Header(name, name_length, name_owned, value, value_length, value_owned);
}

const String& NetworkOutput::error() const {
    return connection_->error();
}

int NetworkOutput::DoWrite(const char* text, int length) {
    return connection_->Write(text, length, timeout_);
}
