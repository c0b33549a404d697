#include "keyfile/EncryptedPkcs8.h"

#include <openssl/evp.h>
#include <strings.h>

#include <cstdint>
#include <cstring>

#include "host/Asn1.h"
#include "host/DerReader.h"
#include "host/Pem.h"
#include "host/ScopedOwners.h"
#include "host/SecureWipe.h"

namespace vn {
namespace keyfile {

namespace {

const char kPbes2[] = "1.2.840.113549.1.5.13";
const char kPbkdf2[] = "1.2.840.113549.1.5.12";
const char kScrypt[] = "1.3.6.1.4.1.11591.4.11";
const char kHmacWithSha256[] = "1.2.840.113549.2.9";

const CbcCipher kCiphers[] = {
    {"aes-128-cbc", "2.16.840.1.101.3.4.1.2", 16, 16},
    {"aes-192-cbc", "2.16.840.1.101.3.4.1.22", 24, 16},
    {"aes-256-cbc", "2.16.840.1.101.3.4.1.42", 32, 16},
    {"des-ede3-cbc", "1.2.840.113549.3.7", 24, 8},
};

const EVP_CIPHER* evpCipher(const CbcCipher& c) {
    if (std::strcmp(c.name, "aes-128-cbc") == 0) return EVP_aes_128_cbc();
    if (std::strcmp(c.name, "aes-192-cbc") == 0) return EVP_aes_192_cbc();
    if (std::strcmp(c.name, "aes-256-cbc") == 0) return EVP_aes_256_cbc();
    return EVP_des_ede3_cbc();
}

struct Prf {
    const char* oid;
    const char* name;
    const EVP_MD* (*md)();
};

const Prf kPrfs[] = {
    {"1.2.840.113549.2.7", "SHA1", EVP_sha1},      {"1.2.840.113549.2.8", "SHA224", EVP_sha224},
    {kHmacWithSha256, "SHA256", EVP_sha256},       {"1.2.840.113549.2.10", "SHA384", EVP_sha384},
    {"1.2.840.113549.2.11", "SHA512", EVP_sha512},
};

// A hostile file must not keep the reader busy for hours or claim gigabytes: these bounds are
// far above what any tool writes (openssl: 2048 iterations, scrypt N 16384 r 8 p 1).
constexpr int kMaxIterations = 10000000;
constexpr std::uint64_t kMaxScryptMemory = 256u * 1024u * 1024u;

const char kWrongPassphrase[] = "wrong passphrase or corrupt file";

// The passphrase's bytes for libcrypto, which wants a pointer even for an empty one.
const char* passBytes(const DataBuffer& pass) {
    return pass.getSize() == 0 ? "" : reinterpret_cast<const char*>(pass.getData2());
}

// What a PBES2 header says, once read.
struct Pbes2 {
    bool scrypt = false;
    DataBuffer salt;
    int iterations = 0;  // PBKDF2
    const Prf* prf = nullptr;
    int n = 0, r = 0, p = 0;  // scrypt
    int keyLength = 0;        // 0: not stated
    const CbcCipher* cipher = nullptr;
    DataBuffer iv;
};

bool oidIs(_vnAsn1* node, const char* oid, StringBuffer& text) {
    text.clear();
    return node != nullptr && node->GetOid(text) && text.equals(oid);
}

// A positive INTEGER that fits an int, else 0.
int positiveInt(_vnAsn1* node) {
    if (node == nullptr || !node->isInteger()) return 0;
    const int v = node->asnIntValue();
    return v > 0 ? v : 0;
}

bool octets(_vnAsn1* node, DataBuffer& out) {
    return node != nullptr && node->isOctetString() && node->getAsnContent(out);
}

bool parsePbkdf2(_vnAsn1* params, Pbes2& h, LogBase& log) {
    const int parts = params != nullptr && params->isSequence() ? params->numAsnParts() : 0;
    if (parts < 2 || parts > 4 || !octets(params->getAsnPart(0), h.salt) ||
        (h.iterations = positiveInt(params->getAsnPart(1))) == 0) {
        log.LogError("The PBKDF2 parameters are malformed (salt, iteration count).");
        return false;
    }
    int next = 2;
    if (next < parts && params->getAsnPart(next)->isInteger()) {
        if ((h.keyLength = positiveInt(params->getAsnPart(next++))) == 0) {
            log.LogError("The PBKDF2 key length is not a positive number.");
            return false;
        }
    }
    h.prf = &kPrfs[0];  // HMAC-SHA-1 when none is named
    if (next < parts) {
        _vnAsn1* prf = params->getAsnPart(next++);
        h.prf = nullptr;
        StringBuffer oid;
        for (const Prf& candidate : kPrfs) {
            if (prf->isSequence() && prf->numAsnParts() >= 1 && oidIs(prf->getAsnPart(0), candidate.oid, oid)) {
                h.prf = &candidate;
            }
        }
        if (h.prf == nullptr || next != parts) {
            log.LogError("The PBKDF2 pseudo-random function is not HMAC with SHA-1, -224, -256, -384 or -512.");
            log.LogDataSb("prf", oid);
            return false;
        }
    }
    return true;
}

bool parseScrypt(_vnAsn1* params, Pbes2& h, LogBase& log) {
    const int parts = params != nullptr && params->isSequence() ? params->numAsnParts() : 0;
    if ((parts != 4 && parts != 5) || !octets(params->getAsnPart(0), h.salt) ||
        (h.n = positiveInt(params->getAsnPart(1))) == 0 || (h.r = positiveInt(params->getAsnPart(2))) == 0 ||
        (h.p = positiveInt(params->getAsnPart(3))) == 0 ||
        (parts == 5 && (h.keyLength = positiveInt(params->getAsnPart(4))) == 0)) {
        log.LogError("The scrypt parameters are malformed (salt, N, r, p, key length).");
        return false;
    }
    const std::uint64_t memory =
        128u * static_cast<std::uint64_t>(h.r) * (static_cast<std::uint64_t>(h.n) + static_cast<std::uint64_t>(h.p));
    if ((h.n & (h.n - 1)) != 0 || h.n < 2 || memory > kMaxScryptMemory) {
        log.LogError("The scrypt cost parameters are invalid or beyond any sensible setting.");
        return false;
    }
    h.scrypt = true;
    return true;
}

// EncryptedPrivateKeyInfo ::= SEQUENCE { AlgorithmIdentifier, OCTET STRING }; the algorithm
// PBES2 { keyDerivationFunc, encryptionScheme }.
bool parseHeader(_vnAsn1* root, Pbes2& h, DataBuffer& encrypted, LogBase& log) {
    _vnAsn1* alg = root->isSequence() && root->numAsnParts() == 2 ? root->getAsnPart(0) : nullptr;
    if (alg == nullptr || !alg->isSequence() || alg->numAsnParts() != 2 || !octets(root->getAsnPart(1), encrypted)) {
        log.LogError("The data is not an EncryptedPrivateKeyInfo.");
        return false;
    }
    StringBuffer oid;
    if (!oidIs(alg->getAsnPart(0), kPbes2, oid)) {
        log.LogError(
            "The key is encrypted with an old PBES1 or PKCS#12 scheme; only PBES2 is read (re-encrypt it "
            "with openssl pkcs8 -topk8 -v2 aes256).");
        log.LogDataSb("scheme", oid);
        return false;
    }
    _vnAsn1* params = alg->getAsnPart(1);
    _vnAsn1* kdf = params->isSequence() && params->numAsnParts() == 2 ? params->getAsnPart(0) : nullptr;
    _vnAsn1* enc = kdf != nullptr ? params->getAsnPart(1) : nullptr;
    if (kdf == nullptr || !kdf->isSequence() || kdf->numAsnParts() != 2 || !enc->isSequence() ||
        enc->numAsnParts() != 2) {
        log.LogError("The PBES2 parameters are malformed.");
        return false;
    }
    if (oidIs(kdf->getAsnPart(0), kPbkdf2, oid)) {
        if (!parsePbkdf2(kdf->getAsnPart(1), h, log)) return false;
    } else if (oidIs(kdf->getAsnPart(0), kScrypt, oid)) {
        if (!parseScrypt(kdf->getAsnPart(1), h, log)) return false;
    } else {
        log.LogError("The PBES2 key derivation is neither PBKDF2 nor scrypt.");
        log.LogDataSb("kdf", oid);
        return false;
    }
    for (const CbcCipher& c : kCiphers) {
        if (oidIs(enc->getAsnPart(0), c.oid, oid)) h.cipher = &c;
    }
    if (h.cipher == nullptr) {
        log.LogError("The PBES2 cipher is not AES-128/192/256-CBC or DES-EDE3-CBC.");
        log.LogDataSb("cipher", oid);
        return false;
    }
    if (!octets(enc->getAsnPart(1), h.iv) || h.iv.getSize() != h.cipher->ivLen) {
        log.LogError("The PBES2 cipher's IV is missing or has the wrong length.");
        return false;
    }
    if (h.keyLength != 0 && static_cast<unsigned>(h.keyLength) != h.cipher->keyLen) {
        log.LogError("The key length in the key derivation parameters does not fit the cipher.");
        return false;
    }
    return true;
}

std::string describe(const Pbes2& h) {
    std::string s = "PBES2 ";
    if (h.scrypt) {
        s += "scrypt N=" + std::to_string(h.n) + " r=" + std::to_string(h.r) + " p=" + std::to_string(h.p);
    } else {
        s += std::string("PBKDF2-HMAC-") + h.prf->name + " " + std::to_string(h.iterations) + " iterations";
    }
    return s + ", " + h.cipher->name;
}

bool deriveKey(const Pbes2& h, const DataBuffer& pass, unsigned char* key, LogBase& log) {
    const int keyLen = static_cast<int>(h.cipher->keyLen);
    int ok = 0;
    if (h.scrypt) {
        ok = EVP_PBE_scrypt(passBytes(pass), pass.getSize(), h.salt.getData2(), h.salt.getSize(),
                            static_cast<std::uint64_t>(h.n), static_cast<std::uint64_t>(h.r),
                            static_cast<std::uint64_t>(h.p), kMaxScryptMemory + 1024 * 1024, key,
                            static_cast<size_t>(keyLen));
    } else {
        ok = PKCS5_PBKDF2_HMAC(passBytes(pass), static_cast<int>(pass.getSize()), h.salt.getData2(),
                               static_cast<int>(h.salt.getSize()), h.iterations, h.prf->md(), keyLen, key);
    }
    if (ok != 1) log.LogError("The key derivation failed in libcrypto.");
    return ok == 1;
}

// DER building blocks for the one structure we write.
bool tlv(unsigned char tag, const DataBuffer& content, DataBuffer& out) {
    return der::appendHeader(tag, content.getSize(), out) && out.append(content);
}

bool appendOid(const char* dotted, DataBuffer& out, LogBase& log) {
    RefCountedObjectOwner owner(_vnAsn1::newOid(dotted));
    _vnAsn1* node = static_cast<_vnAsn1*>(owner.get());
    return node != nullptr && node->EncodeToDer(out, false, log);
}

bool appendPositiveInteger(unsigned v, DataBuffer& out) {
    unsigned char bytes[5];
    unsigned n = 0;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const unsigned char b = static_cast<unsigned char>(v >> shift);
        if (n == 0 && b == 0 && shift != 0) continue;
        if (n == 0 && (b & 0x80) != 0) bytes[n++] = 0;
        bytes[n++] = b;
    }
    DataBuffer content;
    return content.append(bytes, n) && tlv(0x02, content, out);
}

// A CBC cipher context freed on every path.
struct CipherCtx {
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    ~CipherCtx() { EVP_CIPHER_CTX_free(ctx); }
};

}  // namespace

const CbcCipher* findCbcCipher(const char* name) {
    for (const CbcCipher& c : kCiphers) {
        if (strcasecmp(c.name, name) == 0) return &c;
    }
    return nullptr;
}

bool cbcDecrypt(const CbcCipher& cipher, const unsigned char* key, const unsigned char* iv, const DataBuffer& in,
                DataBuffer& out, bool& badPadding, LogBase& log) {
    badPadding = false;
    out.secureClear();
    out.setSecure(true);
    const unsigned n = in.getSize();
    if (n == 0 || n % cipher.ivLen != 0) {
        log.LogError("The encrypted data is not a whole number of cipher blocks: the file is damaged.");
        return false;
    }
    if (!out.append(in)) return false;  // room for the plaintext, which is never longer
    CipherCtx c;
    int len1 = 0, len2 = 0;
    if (c.ctx == nullptr || EVP_DecryptInit_ex(c.ctx, evpCipher(cipher), nullptr, key, iv) != 1 ||
        EVP_DecryptUpdate(c.ctx, out.getData2(), &len1, in.getData2(), static_cast<int>(n)) != 1) {
        out.secureClear();
        log.LogError("The cipher failed in libcrypto.");
        return false;
    }
    if (EVP_DecryptFinal_ex(c.ctx, out.getData2() + len1, &len2) != 1) {
        out.secureClear();
        badPadding = true;
        return false;
    }
    out.truncate(static_cast<unsigned>(len1 + len2));
    return true;
}

bool isPrivateKeyStructure(const DataBuffer& der) {
    LogNull quiet;
    unsigned consumed = 0;
    RefCountedObjectOwner owner(_vnAsn1::DecodeToAsn(der.getData2(), der.getSize(), consumed, quiet));
    _vnAsn1* root = static_cast<_vnAsn1*>(owner.get());
    return root != nullptr && consumed == der.getSize() && root->isSequence() && root->numAsnParts() >= 2 &&
           root->getAsnPart(0)->isInteger();
}

bool decryptPkcs8(const DataBuffer& der, const DataBuffer* passphrase, DataBuffer& plain, std::string& found,
                  LogBase& log, const KdfLimits& limits) {
    LogContextExitor ctx(log, "decryptPkcs8");
    plain.secureClear();
    plain.setSecure(true);
    // The decoder's own reason would be a second line; ours says which structure failed.
    LogNull quiet;
    unsigned consumed = 0;
    RefCountedObjectOwner owner(_vnAsn1::DecodeToAsn(der.getData2(), der.getSize(), consumed, quiet));
    _vnAsn1* root = static_cast<_vnAsn1*>(owner.get());
    Pbes2 h;
    DataBuffer encrypted;
    if (root == nullptr || consumed != der.getSize()) {
        log.LogError("The encrypted private key is not well-formed DER.");
        return false;
    }
    if (!parseHeader(root, h, encrypted, log)) return false;
    found = describe(h);
    using Work = unsigned long long;
    const Work work = h.scrypt ? static_cast<Work>(h.n) * static_cast<Work>(h.r) * static_cast<Work>(h.p)
                               : static_cast<Work>(h.iterations);
    if (work > (h.scrypt ? limits.scryptWork : limits.pbkdf2Iterations)) {
        log.LogError(kTooMuchWork);
        return false;
    }
    if (passphrase == nullptr) {
        log.LogError("the key file is encrypted: a passphrase is needed");
        return false;
    }
    unsigned char key[32];
    bool badPadding = false;
    bool ok = deriveKey(h, *passphrase, key, log) &&
              cbcDecrypt(*h.cipher, key, h.iv.getData2(), encrypted, plain, badPadding, log);
    secureWipe(key, sizeof key);
    if (ok && !isPrivateKeyStructure(plain)) {
        plain.secureClear();
        badPadding = true;
        ok = false;
    }
    if (badPadding) log.LogError(kWrongPassphrase);
    return ok;
}

bool loadEncryptedPkcs8(const DataBuffer& der, const DataBuffer* passphrase, EccKey& key, std::string& found,
                        LogBase& log, const KdfLimits& limits) {
    key.clearEccKey();
    DataBuffer plain;
    plain.setSecure(true);
    if (decryptPkcs8(der, passphrase, plain, found, log, limits) && key.loadEccDer(plain, log)) return true;
    key.clearEccKey();
    return false;
}

bool encryptPkcs8(const DataBuffer& plainPkcs8Der, const DataBuffer& passphrase, _vnPrng& prng, DataBuffer& der,
                  LogBase& log, unsigned iterations) {
    LogContextExitor ctx(log, "encryptPkcs8");
    der.clear();
    const CbcCipher& cipher = *findCbcCipher("aes-256-cbc");
    DataBuffer salt, iv;
    if (!prng.genRandomBytes(16, salt, log) || !prng.genRandomBytes(cipher.ivLen, iv, log) || salt.getSize() != 16 ||
        iv.getSize() != cipher.ivLen) {
        log.LogError("No random bytes for the salt and IV.");
        return false;
    }
    if (iterations == 0 || iterations > static_cast<unsigned>(kMaxIterations)) {
        log.LogError("The PBKDF2 iteration count is out of range.");
        return false;
    }
    unsigned char key[32];
    DataBuffer encrypted;
    CipherCtx c;
    bool ok = c.ctx != nullptr &&
              PKCS5_PBKDF2_HMAC(passBytes(passphrase), static_cast<int>(passphrase.getSize()), salt.getData2(), 16,
                                static_cast<int>(iterations), EVP_sha256(), 32, key) == 1 &&
              EVP_EncryptInit_ex(c.ctx, evpCipher(cipher), nullptr, key, iv.getData2()) == 1;
    secureWipe(key, sizeof key);
    // Starts as a copy of the plaintext, overwritten in place by the ciphertext, plus room for
    // the padding's extra block.
    encrypted.setSecure(true);
    ok = ok && encrypted.append(plainPkcs8Der) && encrypted.append(iv);
    int len1 = 0, len2 = 0;
    ok = ok &&
         EVP_EncryptUpdate(c.ctx, encrypted.getData2(), &len1, plainPkcs8Der.getData2(),
                           static_cast<int>(plainPkcs8Der.getSize())) == 1 &&
         EVP_EncryptFinal_ex(c.ctx, encrypted.getData2() + len1, &len2) == 1;
    if (ok) encrypted.truncate(static_cast<unsigned>(len1 + len2));
    if (!ok) {
        log.LogError("The key derivation or the cipher failed in libcrypto.");
        return false;
    }

    DataBuffer prf, kdfParams, kdf, enc, pbes2Params, alg, body;
    ok = appendOid(kHmacWithSha256, prf, log) && prf.append("\x05\x00", 2) && tlv(0x04, salt, kdfParams) &&
         appendPositiveInteger(iterations, kdfParams) && tlv(0x30, prf, kdfParams) && appendOid(kPbkdf2, kdf, log) &&
         tlv(0x30, kdfParams, kdf) && appendOid(cipher.oid, enc, log) && tlv(0x04, iv, enc) &&
         tlv(0x30, kdf, pbes2Params) && tlv(0x30, enc, pbes2Params) && appendOid(kPbes2, alg, log) &&
         tlv(0x30, pbes2Params, alg) && tlv(0x30, alg, body) && tlv(0x04, encrypted, body) && tlv(0x30, body, der);
    if (!ok) {
        der.clear();
        log.LogError("Out of memory encoding the encrypted private key.");
    }
    return ok;
}

bool writeEncryptedPkcs8Pem(EccKey& key, const DataBuffer& passphrase, _vnPrng& prng, StringBuffer& pem, LogBase& log,
                            unsigned iterations) {
    DataBuffer plain, der;
    plain.setSecure(true);
    pem.clear();
    return key.toEccPkcs8PrivateKeyDer(plain, log) && encryptPkcs8(plain, passphrase, prng, der, log, iterations) &&
           _vnPublicKey::derToPem("ENCRYPTED PRIVATE KEY", der, pem, log);
}

}  // namespace keyfile
}  // namespace vn
