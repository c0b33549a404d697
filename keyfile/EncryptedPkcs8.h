#pragma once
// Passphrase-protected PKCS#8 (EncryptedPrivateKeyInfo with PBES2), read and written, and the
// CBC decryption and plaintext check the traditional encrypted PEM reader shares with it.

#include <string>

#include "ecc/EccKey.h"
#include "host/Prng.h"
#include "keyfile/KdfLimits.h"

namespace vn {
namespace keyfile {

// The PBKDF2 iteration count of the files we write. openssl's default for `pkcs8 -topk8` is
// 2048, chosen when hashing was far slower; 100000 still loads in well under a tenth of a
// second but makes each guess at the passphrase fifty times dearer.
constexpr unsigned kPkcs8WriteIterations = 100000;

// Decrypts a DER EncryptedPrivateKeyInfo protected with PBES2: PBKDF2 (HMAC-SHA-1, -224,
// -256, -384 or -512) or scrypt, and AES-128/192/256-CBC or DES-EDE3-CBC.
// In: der, the file's DER; passphrase, null when none was given.
// Out: plain, the PrivateKeyInfo DER (a wiping buffer, replaced); found, what the file is
// protected with, e.g. "PBES2 PBKDF2-HMAC-SHA256 2048 iterations, aes-256-cbc" (set as soon
// as the parameters are read, also when decryption fails; callers put the container in
// front).
// Returns false with one error line: "the key file is encrypted: a passphrase is needed"
// without a passphrase, "wrong passphrase or corrupt file" when the padding or the
// decrypted structure does not hold, another line for parameters that are malformed or not
// supported.
bool decryptPkcs8(const DataBuffer& der, const DataBuffer* passphrase, DataBuffer& plain, std::string& found,
                  LogBase& log, const KdfLimits& limits = KdfLimits());

// decryptPkcs8, then the key object's DER loader on the PrivateKeyInfo. On failure the key is
// cleared. Same inputs, outputs and error lines as decryptPkcs8, plus the loader's.
bool loadEncryptedPkcs8(const DataBuffer& der, const DataBuffer* passphrase, EccKey& key, std::string& found,
                        LogBase& log, const KdfLimits& limits = KdfLimits());

// Encrypts a PrivateKeyInfo DER as an EncryptedPrivateKeyInfo: PBES2 with
// PBKDF2-HMAC-SHA256 (16-byte random salt, `iterations` rounds) and AES-256-CBC (16-byte
// random IV), laid out as openssl writes it.
// In: plainPkcs8Der; passphrase (may be empty); prng for the salt and IV; iterations (tests
// pass a small count).
// Out: der, replaced by the EncryptedPrivateKeyInfo DER.
// Returns false with an error line when randomness, the derivation or the cipher fails.
bool encryptPkcs8(const DataBuffer& plainPkcs8Der, const DataBuffer& passphrase, _vnPrng& prng, DataBuffer& der,
                  LogBase& log, unsigned iterations = kPkcs8WriteIterations);

// The key's PKCS#8 encrypted by encryptPkcs8 and armoured as PEM "ENCRYPTED PRIVATE KEY",
// 64-character lines ending in LF. pem is replaced. False with an error line for a key
// without its private part or when encryption fails.
bool writeEncryptedPkcs8Pem(EccKey& key, const DataBuffer& passphrase, _vnPrng& prng, StringBuffer& pem, LogBase& log,
                            unsigned iterations = kPkcs8WriteIterations);

// The CBC ciphers passphrase-protected key files use.
struct CbcCipher {
    const char* name;  // lower case, as openssl names it: "aes-256-cbc"
    const char* oid;   // the PBES2 encryption scheme identifier
    unsigned keyLen;
    unsigned ivLen;  // also the block size
};

// The cipher of that name (compared without regard to case, so "AES-256-CBC" from a PEM
// DEK-Info header finds it too), or null.
const CbcCipher* findCbcCipher(const char* name);

// Decrypts in (whole blocks, PKCS#7 padding) with the cipher, key and IV into out (replaced;
// set to wipe). False when the length is not whole blocks or libcrypto fails, with an error
// line, and false with badPadding set when the padding does not hold, without a line: the
// caller knows whether that means a wrong passphrase.
bool cbcDecrypt(const CbcCipher& cipher, const unsigned char* key, const unsigned char* iv, const DataBuffer& in,
                DataBuffer& out, bool& badPadding, LogBase& log);

// True when the bytes are exactly one DER SEQUENCE starting with an INTEGER, as every
// decrypted private key structure is; padding that holds by chance under a wrong key almost
// never gives that.
bool isPrivateKeyStructure(const DataBuffer& der);

}  // namespace keyfile
}  // namespace vn
