#pragma once
// OpenSSH's own key files: the one-line public key ("ecdsa-sha2-nistp256 AAAA... comment") and
// the "openssh-key-v1" private key file, plain or encrypted with a passphrase (bcrypt-pbkdf and
// AES-CTR/CBC/GCM or ChaCha20-Poly1305), as ssh-keygen writes them.

#include <string>

#include "ecc/EccKey.h"
#include "keyfile/KdfLimits.h"
#include "host/Prng.h"

namespace vn {
namespace keyfile {

// Loads an OpenSSH public key line: key type, base64 blob, optional comment.
// In: line. Out: key (public), cleared on failure. Returns false with an error line when the
// line is malformed, names another key type, or its point is not on the curve.
bool loadOpenSshPublicLine(const std::string& line, EccKey& key, LogBase& log);

// Loads an openssh-key-v1 file holding one ECDSA key.
// In: body, the base64-decoded content of the "OPENSSH PRIVATE KEY" PEM block; passphrase,
// null when none was given (enough for an unencrypted file). Out: key (private), cleared on
// failure; found, what the file is ("OpenSSH private key, aes256-ctr, bcrypt 16 rounds" or
// "OpenSSH private key, unencrypted"), set as soon as the header is read. Returns false with
// one error line; "wrong passphrase or corrupt file" when the decrypted section does not hold
// (tag, check words, padding), "the key file is encrypted: a passphrase is needed" without one.
bool loadOpenSshPrivateFile(const DataBuffer& body, const DataBuffer* passphrase, EccKey& key, std::string& found,
                            LogBase& log, const KdfLimits& limits = KdfLimits());

// Writes a private key as an openssh-key-v1 PEM file as ssh-keygen does: "OPENSSH PRIVATE KEY"
// block, 70-character base64 lines, LF endings. Without a passphrase (null or empty) it is
// unencrypted (cipher and kdf "none"); with one, aes256-ctr under a key from bcrypt-pbkdf over a
// random 16-byte salt with the given rounds (16, ssh-keygen's default, unless a caller has a
// reason). The check words and the salt come from prng.
// In: key (private, on a curve SSH has a name for: nistp256/384/521, secp256k1 as nistk256),
// comment (stored in the file). Out: pem, replaced. Returns false with an error line otherwise.
bool writeOpenSshPrivateFile(EccKey& key, const DataBuffer* passphrase, const std::string& comment, _vnPrng& prng,
                             StringBuffer& pem, LogBase& log, unsigned rounds = 16);

}  // namespace keyfile
}  // namespace vn
