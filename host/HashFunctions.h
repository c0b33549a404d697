#pragma once
// The compression functions behind _vnHash, one per algorithm and instruction-set route. Each
// folds count whole blocks (64 bytes, 128 for SHA-384/512) into the chaining state; padding
// and partial blocks are _vnHash's. Internal to the host library.

#include <cstddef>
#include <cstdint>

namespace vn {
namespace hashfn {

constexpr unsigned kMd5Len = 16;
constexpr unsigned kSha1Len = 20;
constexpr unsigned kSha224Len = 28;
constexpr unsigned kSha256Len = 32;
constexpr unsigned kSha384Len = 48;
constexpr unsigned kSha512Len = 64;

void md5Blocks(std::uint32_t h[4], const unsigned char* blocks, std::size_t count);
void sha1Blocks(std::uint32_t h[5], const unsigned char* blocks, std::size_t count);
void sha256Blocks(std::uint32_t h[8], const unsigned char* blocks, std::size_t count);
void sha512Blocks(std::uint64_t h[8], const unsigned char* blocks, std::size_t count);

// The SHA-extension routes (defined where the compiler can target x86-64; elsewhere
// shaNiAvailable says false and these are never called).
void sha1BlocksShaNi(std::uint32_t h[5], const unsigned char* blocks, std::size_t count);
void sha256BlocksShaNi(std::uint32_t h[8], const unsigned char* blocks, std::size_t count);

// Whether the processor has the SHA extensions (with SSSE3 and SSE4.1), asked of CPUID once
// per process.
bool shaNiAvailable();

extern const std::uint32_t kSha256K[64];
extern const std::uint64_t kSha512K[80];

}  // namespace hashfn
}  // namespace vn
