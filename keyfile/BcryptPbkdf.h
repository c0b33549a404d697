#pragma once
// bcrypt-pbkdf, the key derivation of OpenSSH's encrypted private key files ("kdfname
// bcrypt"): PBKDF2's structure with SHA-512 prehashing and bcrypt's Blowfish core as the
// pseudo-random function, whose 32-byte blocks are spread across the output interleaved.

#include <cstddef>

namespace vn {
namespace keyfile {

// Derives keyLen bytes from the passphrase and salt with the given number of rounds into key.
// In: pass (passLen bytes, may be 0), salt (saltLen bytes, 1 to 1024), rounds >= 1, keyLen 1
// to 1024. Out: key, keyLen bytes. Returns false, writing nothing, for arguments outside those
// ranges. Every intermediate value is wiped before return.
bool bcryptPbkdf(const unsigned char* pass, std::size_t passLen, const unsigned char* salt, std::size_t saltLen,
                 unsigned rounds, unsigned char* key, std::size_t keyLen);

}  // namespace keyfile
}  // namespace vn
