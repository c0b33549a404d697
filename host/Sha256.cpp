// SHA-224 and SHA-256 (FIPS 180-4).

#include <cstdint>

#include "host/HashFunctions.h"
#include "host/Sha2Core.h"

namespace vn {
namespace hashfn {

namespace {

constexpr std::uint32_t kRoundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
};

constexpr std::uint32_t kInit224[8] = {0xc1059ed8, 0x367cd507, 0x3070dd17, 0xf70e5939,
                                       0xffc00b31, 0x68581511, 0x64f98fa7, 0xbefa4fa4};
constexpr std::uint32_t kInit256[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                       0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

struct Params {
    using Word = std::uint32_t;
    static constexpr unsigned kRounds = 64;
    static constexpr const Word* K = kRoundConstants;
    static constexpr unsigned r0a = 7, r0b = 18, r0c = 3, r1a = 17, r1b = 19, r1c = 10;
    static constexpr unsigned e1a = 6, e1b = 11, e1c = 25, a0a = 2, a0b = 13, a0c = 22;
};

}  // namespace

void sha224(const unsigned char* data, std::size_t len, unsigned char* out) {
    sha2::run<Params>(kInit224, data, len, out, kSha224Len);
}

void sha256(const unsigned char* data, std::size_t len, unsigned char* out) {
    sha2::run<Params>(kInit256, data, len, out, kSha256Len);
}

}  // namespace hashfn
}  // namespace vn
