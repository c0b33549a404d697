#pragma once
// PEM blocks encrypted the way OpenSSL's traditional writers do it (`openssl ec -aes256`):
// "Proc-Type: 4,ENCRYPTED" and "DEK-Info: <cipher>,<IV hex>" header lines over a body
// encrypted with a key from EVP_BytesToKey (MD5, one round, the IV's first 8 bytes as salt).

#include <string>

#include "ecc/EccKey.h"

namespace vn {
namespace keyfile {

// True when the text holds a PEM block whose header lines say "Proc-Type: 4,ENCRYPTED";
// such a block is refused by the plain PEM reader and belongs to decryptTraditionalPem.
bool isTraditionalEncryptedPem(const char* pemText);

// Decrypts the first encrypted block of the text ("EC PRIVATE KEY"; the ciphers
// AES-128/192/256-CBC and DES-EDE3-CBC; CR LF or LF line endings; blocks in front of it, such
// as "EC PARAMETERS", skipped).
// In: pemText (NUL-terminated); passphrase, null when none was given.
// Out: der, the decrypted SEC1 ECPrivateKey DER (a wiping buffer, replaced); found, e.g.
// "PEM EC PRIVATE KEY, traditional encryption aes-256-cbc", set once the headers are read.
// Returns false with one error line: "the key file is encrypted: a passphrase is needed"
// without a passphrase, "wrong passphrase or corrupt file" when the padding or the decrypted
// structure does not hold, another line for malformed or unsupported headers or body.
bool decryptTraditionalPem(const char* pemText, const DataBuffer* passphrase, DataBuffer& der, std::string& found,
                           LogBase& log);

// decryptTraditionalPem, then the key object's DER loader. On failure the key is cleared.
bool loadTraditionalPem(const char* pemText, const DataBuffer* passphrase, EccKey& key, std::string& found,
                        LogBase& log);

}  // namespace keyfile
}  // namespace vn
