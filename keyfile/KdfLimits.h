#pragma once
// How much work a key file may ask of its reader. A file states its own key-derivation cost,
// so a hostile one could ask for hours; a file asking for more than these limits is refused
// before any of the work is done. The defaults stand well above what openssl, ssh-keygen and
// puttygen write at their strongest usual settings; a reader of untrusted files may lower them.

namespace vn {
namespace keyfile {

/// The most key-derivation work an encrypted key file may ask of keyfile::readKey; a file
/// asking for more is refused with kTooMuchWork before any of the work is done.
struct KdfLimits {
    /// PBKDF2 iterations (openssl writes 2048, we write 100000; 600000 is a strong choice).
    unsigned long pbkdf2Iterations = 2000000;
    /// scrypt's N * r * p (openssl -scrypt writes 16384 * 8 * 1).
    unsigned long scryptWork = 1ul << 24;
    /// bcrypt-pbkdf rounds (ssh-keygen writes 16; -a 100 is a strong choice).
    unsigned long bcryptRounds = 1000;
    /// Argon2 memory in KiB times passes (puttygen writes 8192 KiB and a dozen or so passes).
    unsigned long argon2Work = 1ul << 22;
};

/// The line a file logs when it asks for more than the limits allow.
extern const char* const kTooMuchWork;

}  // namespace keyfile
}  // namespace vn
