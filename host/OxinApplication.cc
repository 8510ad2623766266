#include "host/OxinApplication.h"

#include <cstring>

#include "base/UFCrypt.h"
#include "host/Output.h"

OxinApplication::~OxinApplication() {
    delete crypt_;
}

char* OxinApplication::Crypt(const char* key, int key_length, const char* salt, int* length,
                             int* size) {
    if (!crypt_) crypt_ = new UFCrypt();
    char* hashed = new char[14];
    crypt_->crypt(key, key_length, salt, hashed);
    hashed[13] = '\0';
    *length = 13;
    *size = 14;
    return hashed;
}

void OxinApplication::Error(const char* text) {
    OutputError(text, text ? static_cast<int>(strlen(text)) : 0);
}

void OxinApplication::OutputError(const char* text, int length) {
    if (output_ && text && length > 0) output_->Write_Error(text, length);
}
