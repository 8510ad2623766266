#include "base/MemCmpI.h"

int memcmpi(const void* a, const void* b, int length) {
    const unsigned char* left = static_cast<const unsigned char*>(a);
    const unsigned char* right = static_cast<const unsigned char*>(b);
    for (int i = 0; i < length; i++) {
        int l = lower_byte(left[i]);
        int r = lower_byte(right[i]);
        if (l != r) return l < r ? -1 : 1;
    }
    return 0;
}
