#pragma once
// The digest algorithms behind _vnHash, one call per message. Internal to the host library.

#include <cstddef>

namespace vn {
namespace hashfn {

constexpr unsigned kMd5Len = 16;
constexpr unsigned kSha1Len = 20;
constexpr unsigned kSha224Len = 28;
constexpr unsigned kSha256Len = 32;
constexpr unsigned kSha384Len = 48;
constexpr unsigned kSha512Len = 64;

// Each writes the digest of len bytes at data (which may be null when len is 0) into out,
// which must hold the digest's length.
void md5(const unsigned char* data, std::size_t len, unsigned char* out);
void sha1(const unsigned char* data, std::size_t len, unsigned char* out);
void sha224(const unsigned char* data, std::size_t len, unsigned char* out);
void sha256(const unsigned char* data, std::size_t len, unsigned char* out);
void sha384(const unsigned char* data, std::size_t len, unsigned char* out);
void sha512(const unsigned char* data, std::size_t len, unsigned char* out);

// Padding shared by the Merkle-Damgard digests: copies the tail of the message (fewer than
// blockSize bytes), the 0x80 marker, zeros and the bit length into tail, and returns the
// number of tail bytes (one or two blocks). lengthBytes is 8 or 16; bigEndian selects the
// length's byte order (MD5 is the little-endian one).
std::size_t padTail(const unsigned char* rest, std::size_t restLen, std::size_t totalLen,
                    std::size_t blockSize, std::size_t lengthBytes, bool bigEndian,
                    unsigned char* tail);

}  // namespace hashfn
}  // namespace vn
