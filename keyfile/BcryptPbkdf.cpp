#include "keyfile/BcryptPbkdf.h"

#include <cstdint>
#include <vector>

#include "host/Hash.h"
#include "host/SecureWipe.h"
#include "keyfile/Blowfish.h"

namespace vn {
namespace keyfile {

namespace {

const std::size_t kHashBytes = 32;   // one bcrypt output block
const std::size_t kSha512Bytes = 64;
const std::size_t kMaxLength = 1024;

// bcrypt's core over SHA-512 digests of the passphrase and salt: the expensive key schedule
// (64 alternations), then 64 encryptions of a fixed 32-byte text. Each output word is stored
// least significant byte first, a quirk of the original that every compatible reader shares.
void bcryptHash(Blowfish& bf, const unsigned char* sha2pass, const unsigned char* sha2salt, unsigned char* out) {
    static const char kMagic[] = "OxychromaticBlowfishSwatDynamite";
    bf.reset();
    bf.expandKey(sha2pass, kSha512Bytes, sha2salt, kSha512Bytes);
    for (int i = 0; i < 64; ++i) {
        bf.expandKey(sha2salt, kSha512Bytes, nullptr, 0);
        bf.expandKey(sha2pass, kSha512Bytes, nullptr, 0);
    }
    std::uint32_t words[8];
    for (int i = 0; i < 8; ++i) {
        words[i] = 0;
        for (int j = 0; j < 4; ++j) words[i] = (words[i] << 8) | static_cast<unsigned char>(kMagic[4 * i + j]);
    }
    for (int round = 0; round < 64; ++round) {
        for (int i = 0; i < 8; i += 2) bf.encrypt(words[i], words[i + 1]);
    }
    for (int i = 0; i < 8; ++i) {
        for (int j = 0; j < 4; ++j) out[4 * i + j] = static_cast<unsigned char>(words[i] >> (8 * j));
    }
    secureWipe(words, sizeof words);
}

bool sha512(const unsigned char* a, std::size_t aLen, const unsigned char* b, std::size_t bLen, unsigned char* out) {
    _vnHash h;
    return h.start(_vnHash::SHA512) && h.update(a, aLen) && h.update(b, bLen) && h.finish(out);
}

}  // namespace

bool bcryptPbkdf(const unsigned char* pass, std::size_t passLen, const unsigned char* salt, std::size_t saltLen,
                 unsigned rounds, unsigned char* key, std::size_t keyLen) {
    if (rounds < 1 || saltLen < 1 || saltLen > kMaxLength || keyLen < 1 || keyLen > kMaxLength ||
        (pass == nullptr && passLen != 0)) {
        return false;
    }
    // The output is made of ceil(keyLen / 32) blocks; byte i of block b lands at i * stride + b,
    // so every block contributes to the whole key and none can be computed alone.
    const std::size_t stride = (keyLen + kHashBytes - 1) / kHashBytes;
    const std::size_t perBlock = (keyLen + stride - 1) / stride;

    unsigned char sha2pass[kSha512Bytes], sha2salt[kSha512Bytes], tmp[kHashBytes], acc[kHashBytes];
    Blowfish bf;
    bool ok = sha512(pass, passLen, nullptr, 0, sha2pass);
    for (std::uint32_t block = 1; ok && (block - 1) < stride; ++block) {
        const unsigned char counter[4] = {static_cast<unsigned char>(block >> 24), static_cast<unsigned char>(block >> 16),
                                          static_cast<unsigned char>(block >> 8), static_cast<unsigned char>(block)};
        ok = sha512(salt, saltLen, counter, sizeof counter, sha2salt);
        bcryptHash(bf, sha2pass, sha2salt, tmp);
        for (std::size_t i = 0; i < kHashBytes; ++i) acc[i] = tmp[i];
        for (unsigned r = 1; ok && r < rounds; ++r) {
            ok = sha512(tmp, kHashBytes, nullptr, 0, sha2salt);
            bcryptHash(bf, sha2pass, sha2salt, tmp);
            for (std::size_t i = 0; i < kHashBytes; ++i) acc[i] ^= tmp[i];
        }
        for (std::size_t i = 0; ok && i < perBlock; ++i) {
            const std::size_t dest = i * stride + (block - 1);
            if (dest >= keyLen) break;
            key[dest] = acc[i];
        }
    }
    secureWipe(sha2pass, sizeof sha2pass);
    secureWipe(sha2salt, sizeof sha2salt);
    secureWipe(tmp, sizeof tmp);
    secureWipe(acc, sizeof acc);
    if (!ok) secureWipe(key, keyLen);
    return ok;
}

}  // namespace keyfile
}  // namespace vn
