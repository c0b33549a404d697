// PuTTY's .ppk private key files, versions 2 and 3: text headers, base64 public and private
// blobs, and a MAC over both that tells a damaged file, or a wrong passphrase, from a good one.

#include "keyfile/PuttyFiles.h"

#include <argon2.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/BigNum.h"
#include "host/Hash.h"
#include "host/SecureWipe.h"
#include "host/SshMessage.h"
#include "keyfile/KeyReader.h"
#include "keyfile/KeyWriter.h"
#include "keyfile/TextLines.h"

namespace vn {
namespace keyfile {

namespace {

const char kEcdsaPrefix[] = "ecdsa-sha2-";
const unsigned kCipherBlock = 16;
const unsigned kCipherKeyBytes = 32;
const unsigned kSaltBytes = 16;
const unsigned kBase64LineChars = 64;

// A file names its own Argon2 cost, so a hostile one could ask for any amount of memory or
// time. These bounds are far above what puttygen writes (8 MiB, a few dozen passes) and
// below what would stall or exhaust the machine.
const unsigned long kMaxMemoryKiB = 1ul << 20;
const unsigned long kMaxPasses = 1000;
const unsigned long kMaxParallelism = 64;

// The private blob of an unencrypted file is the key itself, so its text is wiped on release.
struct PpkFile {
    ~PpkFile() { wipeString(privateB64); }
    int version = 0;
    std::string algorithm, encryption, comment, mac;
    std::string kdf, memory, passes, parallelism, salt;  // version 3, encrypted only
    std::string publicB64, privateB64;
    bool encrypted() const { return encryption != "none"; }
};

// What the passphrase gives: the AES key and IV of the private blob and the MAC key.
struct PpkKeys {
    DataBuffer cipherKey, iv, macKey;
    PpkKeys() {
        cipherKey.setSecure(true);
        iv.setSecure(true);
        macKey.setSecure(true);
    }
};

bool header(const std::string& line, const char* name, std::string& value) {
    size_t n = std::strlen(name);
    if (line.compare(0, n, name) != 0 || line.compare(n, 2, ": ") != 0) return false;
    value = line.substr(n + 2);
    return true;
}

// A decimal header value within [1, max]; anything else (signs, spaces, overflow) is refused.
bool decimal(const std::string& text, unsigned long max, unsigned& value) {
    if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string::npos) return false;
    unsigned long v = std::strtoul(text.c_str(), nullptr, 10);
    if (v == 0 || v > max) return false;
    value = static_cast<unsigned>(v);
    return true;
}

bool parsePpk(const char* text, bool havePassphrase, PpkFile& ppk, LogBase& log) {
    WipedLines lines;
    splitLines(text, lines);
    ppk.privateB64.reserve(std::strlen(text));
    size_t i = 0;
    auto next = [&](const char* name, std::string& value) {
        if (i < lines.size() && header(lines[i], name, value)) {
            ++i;
            return true;
        }
        log.LogError("The PuTTY key file lacks a header line.");
        log.LogDataStr("expected", name);
        return false;
    };
    auto blobLines = [&](const char* name, std::string& b64) {
        std::string countText;
        unsigned count = 0;
        if (!next(name, countText)) return false;
        if (!decimal(countText, lines.size() - i, count)) {
            log.LogError("The PuTTY key file's line count is wrong.");
            return false;
        }
        for (unsigned k = 0; k < count; ++k) b64 += lines[i++];
        return true;
    };
    if (lines.empty()) return false;
    if (header(lines[0], "PuTTY-User-Key-File-2", ppk.algorithm)) {
        ppk.version = 2;
    } else if (header(lines[0], "PuTTY-User-Key-File-3", ppk.algorithm)) {
        ppk.version = 3;
    } else {
        log.LogError("Not a PuTTY key file of version 2 or 3.");
        return false;
    }
    ++i;
    // Named before anything else is read, so the user hears what the key is rather than
    // a complaint about a blob this layer was never meant to parse.
    if (ppk.algorithm.compare(0, sizeof kEcdsaPrefix - 1, kEcdsaPrefix) != 0) {
        log.LogError(("this is an " + ppk.algorithm + " key; ecckey reads ECDSA keys on prime curves only").c_str());
        return false;
    }
    if (!next("Encryption", ppk.encryption)) return false;
    if (ppk.encryption != "none" && ppk.encryption != "aes256-cbc") {
        log.LogError("The PuTTY key file uses an encryption this layer does not know.");
        log.LogDataStr("encryption", ppk.encryption.c_str());
        return false;
    }
    if (ppk.encrypted() && !havePassphrase) {
        log.LogError("the key file is encrypted: a passphrase is needed");
        return false;
    }
    if (!next("Comment", ppk.comment) || !blobLines("Public-Lines", ppk.publicB64)) return false;
    if (ppk.version == 3 && ppk.encrypted() &&
        !(next("Key-Derivation", ppk.kdf) && next("Argon2-Memory", ppk.memory) && next("Argon2-Passes", ppk.passes) &&
          next("Argon2-Parallelism", ppk.parallelism) && next("Argon2-Salt", ppk.salt))) {
        return false;
    }
    return blobLines("Private-Lines", ppk.privateB64) && next("Private-MAC", ppk.mac);
}

// Appends SHA-1 of [prefixWord as 4 bytes] || [text] || pass to out.
bool appendSha1(unsigned prefixWord, bool withPrefix, const char* text, const DataBuffer& pass, DataBuffer& out) {
    DataBuffer input, digest;
    input.setSecure(true);
    digest.setSecure(true);
    if (withPrefix && !input.appendUint32_be(prefixWord)) return false;
    if (text != nullptr && !input.append(text, static_cast<unsigned>(std::strlen(text)))) return false;
    return input.append(pass) && _vnHash::doHash(input.getData2(), input.getSize(), _vnHash::SHA1, digest) &&
           out.append(digest);
}

bool argon2Keys(const PpkFile& ppk, const DataBuffer& pass, PpkKeys& keys, LogBase& log) {
    argon2_type type;
    if (ppk.kdf == "Argon2id") {
        type = Argon2_id;
    } else if (ppk.kdf == "Argon2i") {
        type = Argon2_i;
    } else if (ppk.kdf == "Argon2d") {
        type = Argon2_d;
    } else {
        log.LogError("The PuTTY key file names a key derivation this layer does not know.");
        log.LogDataStr("kdf", ppk.kdf.c_str());
        return false;
    }
    unsigned memory = 0, passes = 0, lanes = 0;
    DataBuffer salt;
    if (!decimal(ppk.memory, kMaxMemoryKiB, memory) || !decimal(ppk.passes, kMaxPasses, passes) ||
        !decimal(ppk.parallelism, kMaxParallelism, lanes) || !salt.appendEncoded(ppk.salt.c_str(), "hex")) {
        log.LogError("The PuTTY key file's Argon2 parameters are malformed or beyond what this layer will spend.");
        return false;
    }
    unsigned char out[kCipherKeyBytes + kCipherBlock + 32];
    int rc = argon2_hash(passes, memory, lanes, pass.getData2(), pass.getSize(), salt.getData2(), salt.getSize(), out,
                         sizeof out, nullptr, 0, type, ARGON2_VERSION_13);
    bool ok = rc == ARGON2_OK && keys.cipherKey.append(out, kCipherKeyBytes) &&
              keys.iv.append(out + kCipherKeyBytes, kCipherBlock) &&
              keys.macKey.append(out + kCipherKeyBytes + kCipherBlock, 32);
    secureWipe(out, sizeof out);
    if (rc != ARGON2_OK) {
        log.LogError("Argon2 failed on the PuTTY key file's parameters.");
        log.LogDataStr("argon2", argon2_error_message(rc));
    }
    return ok;
}

// The keys for the file's version and encryption. Unencrypted files still carry a MAC, under
// a fixed key: SHA-1 of the fixed text alone in version 2, the empty key in version 3.
bool deriveKeys(const PpkFile& ppk, const DataBuffer& pass, PpkKeys& keys, LogBase& log) {
    static const char kMacKeyText[] = "putty-private-key-file-mac-key";
    if (ppk.version == 3) return !ppk.encrypted() || argon2Keys(ppk, pass, keys, log);
    if (!appendSha1(0, false, kMacKeyText, pass, keys.macKey)) return false;
    if (!ppk.encrypted()) return true;
    static const unsigned char kZeroIv[kCipherBlock] = {0};
    if (!appendSha1(0, true, nullptr, pass, keys.cipherKey) || !appendSha1(1, true, nullptr, pass, keys.cipherKey)) {
        return false;
    }
    keys.cipherKey.truncate(kCipherKeyBytes);
    return keys.iv.append(kZeroIv, kCipherBlock);
}

bool appendSshString(DataBuffer& out, const std::string& s) {
    const unsigned n = static_cast<unsigned>(s.size());
    return out.appendUint32_be(n) && out.append(s.data(), n);
}

// HMAC-SHA-1 (version 2) or HMAC-SHA-256 (version 3) over the algorithm, encryption, comment
// and both blobs, the private one in plain text with its padding.
bool ppkMac(const PpkFile& ppk, const DataBuffer& macKey, const DataBuffer& publicBlob, const DataBuffer& plain,
            unsigned char* mac, unsigned& macLen) {
    DataBuffer input;
    input.setSecure(true);
    if (!appendSshString(input, ppk.algorithm) || !appendSshString(input, ppk.encryption) ||
        !appendSshString(input, ppk.comment) || !SshMessage::pack_db(publicBlob, input) ||
        !SshMessage::pack_db(plain, input)) {
        return false;
    }
    // HMAC would take a null key as "keep the previous one"; the empty key needs a real pointer.
    static const unsigned char kNoKey = 0;
    const unsigned char* keyBytes = macKey.getSize() > 0 ? macKey.getData2() : &kNoKey;
    return HMAC(ppk.version == 2 ? EVP_sha1() : EVP_sha256(), keyBytes, static_cast<int>(macKey.getSize()),
                input.getData2(), input.getSize(), mac, &macLen) != nullptr;
}

// AES-256-CBC without padding, in place over out (a copy of in): the blob is already whole blocks.
bool aesCbc(bool encrypt, const PpkKeys& keys, const DataBuffer& in, DataBuffer& out) {
    out.clear();
    out.setSecure(true);
    if (!out.append(in) || in.getSize() % kCipherBlock != 0) return false;
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    unsigned char tail[kCipherBlock];
    int n = 0, m = 0;
    bool ok = ctx != nullptr &&
              EVP_CipherInit_ex(ctx, EVP_aes_256_cbc(), nullptr, keys.cipherKey.getData2(), keys.iv.getData2(),
                                encrypt ? 1 : 0) == 1 &&
              EVP_CIPHER_CTX_set_padding(ctx, 0) == 1 &&
              EVP_CipherUpdate(ctx, out.getData2(), &n, out.getData2(), static_cast<int>(out.getSize())) == 1 &&
              EVP_CipherFinal_ex(ctx, tail, &m) == 1 && static_cast<unsigned>(n) == out.getSize() && m == 0;
    EVP_CIPHER_CTX_free(ctx);
    return ok;
}

bool loadChecked(const char* text, const DataBuffer* passphrase, const KdfLimits& limits, EccKey& key,
                 std::string& found, LogBase& log) {
    PpkFile ppk;
    if (!parsePpk(text, passphrase != nullptr, ppk, log)) return false;
    // Malformed numbers read as 0 here; the derivation refuses them with its own line.
    const unsigned long long work = std::strtoull(ppk.memory.c_str(), nullptr, 10) *
                                    std::strtoull(ppk.passes.c_str(), nullptr, 10);
    if (ppk.encrypted() && ppk.version == 3 && work > limits.argon2Work) {
        log.LogError(kTooMuchWork);
        return false;
    }
    found = "PuTTY key file v" + std::to_string(ppk.version) + ", " +
            (!ppk.encrypted() ? std::string("unencrypted")
                              : ppk.encryption + (ppk.version == 3 ? ", " + ppk.kdf : std::string()));
    DataBuffer publicBlob, privateBlob, fileMac;
    privateBlob.setSecure(true);
    if (!publicBlob.appendEncoded(ppk.publicB64.c_str(), "base64") ||
        !privateBlob.appendEncoded(ppk.privateB64.c_str(), "base64")) {
        log.LogError("The PuTTY key file's blobs are not valid base64.");
        return false;
    }
    if (!fileMac.appendEncoded(ppk.mac.c_str(), "hex")) {
        log.LogError("The PuTTY key file's MAC is not hexadecimal.");
        return false;
    }
    if (ppk.encrypted() && (privateBlob.getSize() == 0 || privateBlob.getSize() % kCipherBlock != 0)) {
        log.LogError("The PuTTY key file's encrypted blob is not a whole number of cipher blocks.");
        return false;
    }
    DataBuffer noPass, plain;
    plain.setSecure(true);
    PpkKeys keys;
    const DataBuffer& pass = ppk.encrypted() ? *passphrase : noPass;
    if (!deriveKeys(ppk, pass, keys, log)) return false;
    if (ppk.encrypted() ? !aesCbc(false, keys, privateBlob, plain) : !plain.append(privateBlob)) {
        log.LogError("Decrypting the PuTTY key file failed.");
        return false;
    }
    unsigned char mac[EVP_MAX_MD_SIZE];
    unsigned macLen = 0;
    if (!ppkMac(ppk, keys.macKey, publicBlob, plain, mac, macLen) || fileMac.getSize() != macLen ||
        CRYPTO_memcmp(mac, fileMac.getData2(), macLen) != 0) {
        log.LogError(ppk.encrypted() ? "wrong passphrase or corrupt file"
                                     : "The PuTTY key file's MAC does not match: the file is damaged or was altered.");
        return false;
    }

    unsigned offset = 0;
    StringBuffer keyType, curveId;
    DataBuffer x963;
    if (!SshMessage::parseString(publicBlob, offset, keyType) ||
        !SshMessage::parseString(publicBlob, offset, curveId) ||
        !SshMessage::parseBinaryString(publicBlob, offset, x963, log) || !keyType.equals(ppk.algorithm.c_str()) ||
        ppk.algorithm != kEcdsaPrefix + std::string(curveId.getString())) {
        log.LogError("The PuTTY key file's public blob is malformed or disagrees with its key type.");
        return false;
    }
    // Only the mpint itself goes on: the padding after it is not part of the key.
    unsigned kLen = 0, peek = 0;
    DataBuffer scalar;
    scalar.setSecure(true);
    if (!SshMessage::parseUint32(plain, peek, kLen) || kLen > plain.getSize() - 4 ||
        !scalar.append(plain.getData2(), 4 + kLen)) {
        log.LogError("The PuTTY key file's private blob is truncated.");
        return false;
    }
    if (!key.loadPrivateFromPuttySsh(curveNameForSshId(curveId.getString()).c_str(), x963, scalar, log)) return false;
    if (x963.getSize() != 1 + 2 * static_cast<unsigned>(key.m_curve.fieldBytes)) {
        log.LogError(kPointNotOnCurve);
        return false;
    }
    return pointOnCurve(key, log) && scalarMatchesPoint(key, log);
}

bool appendBase64Lines(const DataBuffer& blob, const char* countHeader, StringBuffer& text) {
    StringBuffer b64;
    if (!blob.encodeDB("base64", b64)) return false;
    const unsigned n = b64.getSize();
    const unsigned lines = (n + kBase64LineChars - 1) / kBase64LineChars;
    bool ok = text.append2(countHeader, ": ") && text.append(static_cast<int>(lines)) && text.appendChar('\n');
    for (unsigned at = 0; ok && at < n; at += kBase64LineChars) {
        ok = text.appendN(b64.getString() + at, n - at < kBase64LineChars ? n - at : kBase64LineChars) &&
             text.appendChar('\n');
    }
    return ok;
}

bool header(StringBuffer& text, const char* name, const std::string& value) {
    return text.append2(name, ": ") && text.append(value.c_str()) && text.appendChar('\n');
}

}  // namespace

bool loadPuttyPpk(const char* text, const DataBuffer* passphrase, EccKey& key, std::string& found, LogBase& log,
                  const KdfLimits& limits) {
    LogContextExitor ctx(log, "loadPuttyPpk");
    key.clearEccKey();
    found = "PuTTY key file";
    if (loadChecked(text, passphrase, limits, key, found, log)) return true;
    key.clearEccKey();
    return false;
}

bool writePuttyPpk(EccKey& key, int version, const DataBuffer* passphrase, const std::string& comment, _vnPrng& prng,
                   StringBuffer& text, LogBase& log, const PpkArgon2Cost& cost) {
    LogContextExitor ctx(log, "writePuttyPpk");
    text.clear();
    const char* sshId = sshIdentifierOf(key);
    if (key.m_keyType != 1 || sshId == nullptr || (version != 2 && version != 3) ||
        comment.find_first_of("\r\n") != std::string::npos) {
        log.LogError("A .ppk file needs a private key on a curve SSH names, version 2 or 3, and a one-line comment.");
        return false;
    }
    PpkFile ppk;
    ppk.version = version;
    ppk.algorithm = kEcdsaPrefix + std::string(sshId);
    ppk.comment = comment;
    const bool encrypt = passphrase != nullptr && passphrase->getSize() > 0;
    ppk.encryption = encrypt ? "aes256-cbc" : "none";

    DataBuffer publicBlob, scalar, plain, salt;
    scalar.setSecure(true);
    plain.setSecure(true);
    if (!key.puttyPublicKeyBlob(publicBlob, log) || BigNum::mpint_to_ssh_db(key.m_k, scalar) != MP_OKAY ||
        !SshMessage::pack_db(scalar, plain)) {
        return false;
    }
    if (encrypt) {
        // Random padding: a fixed pattern would hand an attacker known plaintext in the last block.
        const unsigned padding = (kCipherBlock - plain.getSize() % kCipherBlock) % kCipherBlock;
        if ((padding > 0 && !prng.genRandomBytes(padding, plain, log)) ||
            (version == 3 && !prng.genRandomBytes(kSaltBytes, salt, log))) {
            log.LogError("No randomness for the PuTTY key file's padding or salt.");
            return false;
        }
        StringBuffer saltHex;
        salt.encodeDB("hex", saltHex);
        saltHex.toLowerCase();
        ppk.kdf = "Argon2id";
        ppk.memory = std::to_string(cost.memoryKiB);
        ppk.passes = std::to_string(cost.passes);
        ppk.parallelism = std::to_string(cost.parallelism);
        ppk.salt = saltHex.getString();
    }
    DataBuffer noPass, privateBlob;
    PpkKeys keys;
    unsigned char mac[EVP_MAX_MD_SIZE];
    unsigned macLen = 0;
    if (!deriveKeys(ppk, encrypt ? *passphrase : noPass, keys, log) ||
        !ppkMac(ppk, keys.macKey, publicBlob, plain, mac, macLen) ||
        (encrypt ? !aesCbc(true, keys, plain, privateBlob) : !privateBlob.append(plain))) {
        log.LogError("Keying, MAC or encryption of the PuTTY key file failed.");
        return false;
    }
    DataBuffer macBytes;
    StringBuffer macHex;
    macBytes.append(mac, macLen);
    macBytes.encodeDB("hex", macHex);
    macHex.toLowerCase();

    bool ok = text.append2("PuTTY-User-Key-File-", version == 2 ? "2" : "3") && text.append(": ") &&
              text.append(ppk.algorithm.c_str()) && text.appendChar('\n') &&
              header(text, "Encryption", ppk.encryption) && header(text, "Comment", comment) &&
              appendBase64Lines(publicBlob, "Public-Lines", text);
    if (ok && encrypt && version == 3) {
        ok = header(text, "Key-Derivation", ppk.kdf) && header(text, "Argon2-Memory", ppk.memory) &&
             header(text, "Argon2-Passes", ppk.passes) && header(text, "Argon2-Parallelism", ppk.parallelism) &&
             header(text, "Argon2-Salt", ppk.salt);
    }
    ok = ok && appendBase64Lines(privateBlob, "Private-Lines", text) && header(text, "Private-MAC", macHex.getString());
    if (!ok) {
        text.secureClear();
        log.LogError("Out of memory writing the PuTTY key file.");
    }
    return ok;
}

}  // namespace keyfile
}  // namespace vn
