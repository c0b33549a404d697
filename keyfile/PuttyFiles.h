#pragma once
// PuTTY's .ppk private key files, versions 2 and 3, plain or passphrase-protected.

#include <string>

#include "ecc/EccKey.h"
#include "keyfile/KdfLimits.h"
#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/Prng.h"
#include "host/StringBuffer.h"

namespace vn {
namespace keyfile {

// The Argon2 cost a version 3 file is written with. puttygen's defaults: 8192 KiB of memory,
// one lane, and as many passes as take about 100 ms on the machine writing the file (13 on
// a modest 2-core machine); a fixed count keeps our files reproducible in cost.
struct PpkArgon2Cost {
    unsigned memoryKiB = 8192;
    unsigned passes = 13;
    unsigned parallelism = 1;
};

// Loads a .ppk file of version 2 or 3 from its text (LF or CR LF line endings).
// passphrase: null when none was given; needed only when the file is encrypted (aes256-cbc,
// keyed by SHA-1 in version 2, by Argon2id/Argon2i/Argon2d with the file's parameters in
// version 3). The MAC is checked before anything of the key is used; the public point is
// checked against the curve, and the scalar against the point.
// found: set to what the file is, e.g. "PuTTY key file v3, aes256-cbc, Argon2id".
// Returns true with key private; false with key cleared and one error line: "wrong
// passphrase or corrupt file" when the MAC fails on an encrypted file, "the key file is
// encrypted: a passphrase is needed" when passphrase is null, else what is wrong with the file.
bool loadPuttyPpk(const char* text, const DataBuffer* passphrase, EccKey& key, std::string& found, LogBase& log,
                  const KdfLimits& limits = KdfLimits());

// Writes key (private, on a curve SSH names) as a .ppk file of version 2 or 3 into text
// (replacing its content): LF line endings, 64-character base64 lines.
// passphrase: null or empty for an unencrypted file, as puttygen writes one for an empty
// passphrase; otherwise aes256-cbc with random padding, and for version 3 Argon2id with a
// random 16-byte salt and the given cost. comment: one line of text. prng: salt and padding.
// Returns false with an error line for a public key, a curve without an SSH name, a comment
// holding a line break, an unknown version, or a failure of the randomness or ciphers.
bool writePuttyPpk(EccKey& key, int version, const DataBuffer* passphrase, const std::string& comment, _vnPrng& prng,
                   StringBuffer& text, LogBase& log, const PpkArgon2Cost& cost = PpkArgon2Cost());

}  // namespace keyfile
}  // namespace vn
