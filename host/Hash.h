#pragma once

#include "host/DataBuffer.h"

namespace vn {

// Message digests by numeric identifier.
class _vnHash {
public:
    enum HashId { MD5 = 1, SHA1 = 2, SHA224 = 3, SHA256 = 4, SHA384 = 5, SHA512 = 6 };

    // Replaces out's content with the digest of len bytes; false for an unknown identifier.
    static bool doHash(const void* data, unsigned int len, int hashId, DataBuffer& out);
    // Digest size in bytes, 0 for an unknown identifier.
    static unsigned int digestLength(int hashId);
};

// MD5, for the traditional SSH fingerprint (not for anything that needs collision resistance).
class _vnMd5 {
public:
    // Writes the 16-byte digest of data into out.
    void digestData(const DataBuffer& data, unsigned char* out);
};

}  // namespace vn
