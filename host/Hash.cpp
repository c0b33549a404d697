#include "host/Hash.h"

#include <cstring>

#include "host/HashFunctions.h"
#include "host/SecureWipe.h"

namespace vn {

namespace hashfn {

std::size_t padTail(const unsigned char* rest, std::size_t restLen, std::size_t totalLen,
                    std::size_t blockSize, std::size_t lengthBytes, bool bigEndian,
                    unsigned char* tail) {
    if (restLen > 0) std::memcpy(tail, rest, restLen);
    tail[restLen] = 0x80;
    const std::size_t tailLen = restLen + 1 + lengthBytes <= blockSize ? blockSize : 2 * blockSize;
    std::memset(tail + restLen + 1, 0, tailLen - restLen - 1);
    // Bit count: the byte count times 8, whose top three bits spill into the next byte.
    const unsigned long long bytes = totalLen;
    const unsigned long long lowBits = bytes << 3;
    const unsigned long long highBits = bytes >> 61;
    for (std::size_t i = 0; i < 8; ++i) {
        const unsigned char b = static_cast<unsigned char>(lowBits >> (8 * i));
        if (bigEndian) {
            tail[tailLen - 1 - i] = b;
        } else {
            tail[tailLen - 8 + i] = b;
        }
    }
    if (lengthBytes == 16) tail[tailLen - 9] = static_cast<unsigned char>(highBits);
    return tailLen;
}

}  // namespace hashfn

bool _vnHash::doHash(const void* data, unsigned int len, int hashId, DataBuffer& out) {
    const unsigned n = digestLength(hashId);
    if (n == 0) return false;
    if (data == nullptr && len != 0) return false;
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    unsigned char digest[hashfn::kSha512Len];
    switch (hashId) {
        case MD5: hashfn::md5(bytes, len, digest); break;
        case SHA1: hashfn::sha1(bytes, len, digest); break;
        case SHA224: hashfn::sha224(bytes, len, digest); break;
        case SHA256: hashfn::sha256(bytes, len, digest); break;
        case SHA384: hashfn::sha384(bytes, len, digest); break;
        default: hashfn::sha512(bytes, len, digest); break;
    }
    out.clear();
    const bool ok = out.append(digest, n);
    secureWipe(digest, sizeof digest);
    return ok;
}

unsigned int _vnHash::digestLength(int hashId) {
    switch (hashId) {
        case MD5: return hashfn::kMd5Len;
        case SHA1: return hashfn::kSha1Len;
        case SHA224: return hashfn::kSha224Len;
        case SHA256: return hashfn::kSha256Len;
        case SHA384: return hashfn::kSha384Len;
        case SHA512: return hashfn::kSha512Len;
        default: return 0;
    }
}

void _vnMd5::digestData(const DataBuffer& data, unsigned char* out) {
    hashfn::md5(data.getData2(), data.getSize(), out);
}

}  // namespace vn
