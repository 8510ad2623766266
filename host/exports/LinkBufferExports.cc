// The link buffer family of the exported interface: long texts built in a
// chain of blocks. Base64, the checksum and the clock are exported by their
// own definitions in base/, which have C linkage.

#include "base/LinkBuffer.h"
#include "extensions/oxin_extension.h"
#include "host/exports/ExportSupport.h"
#include "variables/Variable.h"

namespace {

// The rounding steps of the first and later blocks, as the engine's own
// texts use them.
constexpr int kFirstBlock = 512;
constexpr int kNextBlock = 4096;

}  // namespace

extern "C" {

LinkBuffer* oxLinkBuffer_Allocate(void) {
    return new LinkBuffer(kFirstBlock, kNextBlock);
}

void oxLinkBuffer_Free(LinkBuffer* buffer) {
    delete buffer;
}

void oxLinkBuffer_Concat_String(LinkBuffer* buffer, const char* text, int length) {
    length = measured(text, length);
    if (buffer && text && length > 0) buffer->cat(text, length);
}

void oxLinkBuffer_Concat_String_Nocopy(LinkBuffer* buffer, char* text, int length, int size) {
    if (!buffer) {
        delete[] text;  // ownership passes even when refused
        return;
    }
    if (text) buffer->cat_nocopy(text, measured(text, length), size);
}

void oxLinkBuffer_Concat_Char(LinkBuffer* buffer, char c) {
    if (buffer) buffer->cat(c);
}

void oxLinkBuffer_Concat_HexChar(LinkBuffer* buffer, unsigned char c) {
    if (buffer) buffer->cat_hex(c);
}

void oxLinkBuffer_Concat_Int(LinkBuffer* buffer, int value) {
    if (buffer) buffer->cat(value);
}

void oxLinkBuffer_Concat_Double(LinkBuffer* buffer, double value) {
    if (buffer) buffer->cat(value);
}

void oxLinkBuffer_Concat_Variable(LinkBuffer* buffer, Variable* variable) {
    if (!buffer || !variable) return;
    String& value = variable->value();
    if (value.length() > 0) buffer->cat(value.c_str(), value.length());
}

char* oxLinkBuffer_Release(LinkBuffer* buffer, int* length) {
    if (length) *length = 0;
    if (!buffer) return nullptr;
    int used, size;
    char* text = buffer->release(&used, &size, 1);
    text[used] = '\0';
    if (length) *length = used;
    return text;
}

const char* oxLinkBuffer_Data(LinkBuffer* buffer, int* length) {
    if (length) *length = 0;
    return buffer ? buffer->data(length) : nullptr;
}

}  // extern "C"
