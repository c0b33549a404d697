#pragma once
// Blowfish (Schneier, 1993) with the "expensive key schedule" of bcrypt (Provos and Mazieres,
// 1999), as far as bcrypt-pbkdf needs it: the cipher on single blocks and the two key-expansion
// steps. Nothing here encrypts files; OpenSSH keys are encrypted with AES or ChaCha20.

#include <cstddef>
#include <cstdint>

namespace vn {
namespace keyfile {

class Blowfish {
public:
    // The initial state: the P-array and S-boxes filled with the fractional hex digits of pi.
    Blowfish();
    // Wipes the state: after a key expansion it is as secret as the key.
    ~Blowfish();
    Blowfish(const Blowfish&) = delete;
    Blowfish& operator=(const Blowfish&) = delete;

    // Back to the initial state.
    void reset();

    // Encrypts one 64-bit block given as its two big-endian halves, in place.
    void encrypt(std::uint32_t& left, std::uint32_t& right) const;

    // bcrypt's ExpandKey(state, salt, key): the P-array is XORed with the key (cycled), then
    // P and S are replaced by successive encryptions of a chained block into which the salt
    // (cycled, two words per block) is XORed. With saltLen 0 this is Blowfish's own key
    // schedule (after reset()). keyLen and saltLen count bytes; keyLen must not be 0.
    void expandKey(const unsigned char* key, std::size_t keyLen, const unsigned char* salt, std::size_t saltLen);

private:
    std::uint32_t f(std::uint32_t x) const;

    std::uint32_t m_p[18];
    std::uint32_t m_s[4][256];
};

}  // namespace keyfile
}  // namespace vn
