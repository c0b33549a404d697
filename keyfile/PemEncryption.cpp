#include "keyfile/PemEncryption.h"

#include <openssl/evp.h>

#include <cstring>
#include <vector>

#include "host/SecureWipe.h"
#include "keyfile/EncryptedPkcs8.h"
#include "keyfile/TextLines.h"

namespace vn {
namespace keyfile {

namespace {

// One PEM block as RFC 1421 lays it out: BEGIN line, "Name: value" header lines (a line
// starting with white space continues the one before), a blank line, the base64 body.
struct PemBlock {
    std::string label, procType, dekInfo, body;
    bool hasHeaders = false;
};

std::string trimmed(const std::string& s) {
    const char* ws = " \t";
    const size_t b = s.find_first_not_of(ws);
    return b == std::string::npos ? std::string() : s.substr(b, s.find_last_not_of(ws) - b + 1);
}

bool beginLabel(const std::string& line, std::string& label) {
    static const char kBegin[] = "-----BEGIN ";
    const std::string t = trimmed(line);
    if (t.compare(0, sizeof kBegin - 1, kBegin) != 0 || t.size() < sizeof kBegin - 1 + 5 ||
        t.compare(t.size() - 5, 5, "-----") != 0) {
        return false;
    }
    label = t.substr(sizeof kBegin - 1, t.size() - (sizeof kBegin - 1) - 5);
    return true;
}

// The first block that carries header lines; false when there is none. A block without an
// END line, or whose END label differs, is reported through endOk.
bool findEncryptedBlock(const char* text, PemBlock& block, bool& endOk) {
    WipedLines lines;
    splitLines(text, lines);
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!beginLabel(lines[i], block.label)) continue;
        size_t j = i + 1;
        std::string* last = nullptr;
        block.hasHeaders = false;
        for (; j < lines.size(); ++j) {
            const std::string& line = lines[j];
            const size_t colon = line.find(':');
            if (!line.empty() && (line[0] == ' ' || line[0] == '\t') && last != nullptr) {
                *last += trimmed(line);
            } else if (colon != std::string::npos && line.compare(0, 5, "-----") != 0) {
                const std::string name = line.substr(0, colon);
                last = name == "Proc-Type" ? &block.procType : name == "DEK-Info" ? &block.dekInfo : nullptr;
                if (last != nullptr) *last = trimmed(line.substr(colon + 1));
                block.hasHeaders = true;
            } else {
                break;
            }
        }
        if (!block.hasHeaders) continue;
        const std::string end = "-----END " + block.label + "-----";
        for (; j < lines.size(); ++j) {
            const std::string t = trimmed(lines[j]);
            if (t == end) {
                endOk = true;
                return true;
            }
            if (t.compare(0, 5, "-----") == 0) break;
            block.body += t;
        }
        endOk = false;
        return true;
    }
    return false;
}

// The body's key: EVP_BytesToKey with MD5 and one round, the salt being the IV's first eight
// bytes, as OpenSSL's PEM writer derives it.
bool bytesToKey(const CbcCipher& cipher, const DataBuffer& iv, const DataBuffer& pass, unsigned char* key,
                LogBase& log) {
    const EVP_CIPHER* evp = EVP_get_cipherbyname(cipher.name);
    const unsigned char* p = pass.getSize() == 0 ? reinterpret_cast<const unsigned char*>("") : pass.getData2();
    if (evp == nullptr || EVP_BytesToKey(evp, EVP_md5(), iv.getData2(), p, static_cast<int>(pass.getSize()), 1, key,
                                         nullptr) != static_cast<int>(cipher.keyLen)) {
        log.LogError("The key derivation failed in libcrypto.");
        return false;
    }
    return true;
}

}  // namespace

bool isTraditionalEncryptedPem(const char* pemText) {
    PemBlock block;
    bool endOk = false;
    return findEncryptedBlock(pemText, block, endOk) && block.procType == "4,ENCRYPTED";
}

bool decryptTraditionalPem(const char* pemText, const DataBuffer* passphrase, DataBuffer& der, std::string& found,
                           LogBase& log) {
    LogContextExitor ctx(log, "decryptTraditionalPem");
    der.secureClear();
    der.setSecure(true);
    PemBlock block;
    bool endOk = false;
    if (!findEncryptedBlock(pemText, block, endOk) || block.procType != "4,ENCRYPTED") {
        log.LogError("The text holds no PEM block with \"Proc-Type: 4,ENCRYPTED\".");
        return false;
    }
    if (!endOk) {
        log.LogError("The encrypted PEM block has no matching END line.");
        return false;
    }
    if (block.label != "EC PRIVATE KEY") {
        log.LogError("The encrypted PEM block does not hold an EC private key.");
        log.LogDataStr("label", block.label.c_str());
        return false;
    }
    const size_t comma = block.dekInfo.find(',');
    const CbcCipher* cipher =
        comma == std::string::npos ? nullptr : findCbcCipher(trimmed(block.dekInfo.substr(0, comma)).c_str());
    if (cipher == nullptr) {
        log.LogError("The DEK-Info header names no cipher read here (AES-128/192/256-CBC, DES-EDE3-CBC).");
        log.LogDataStr("DEK-Info", block.dekInfo.c_str());
        return false;
    }
    DataBuffer iv, encrypted;
    const std::string ivHex = trimmed(block.dekInfo.substr(comma + 1));
    if (ivHex.size() != 2 * cipher->ivLen || !iv.appendEncoded(ivHex.c_str(), "hex")) {
        log.LogError("The DEK-Info header's IV is not the cipher's block of hexadecimal digits.");
        return false;
    }
    if (block.body.empty() || !encrypted.appendEncoded(block.body.c_str(), "base64")) {
        log.LogError("The encrypted PEM body is not base64.");
        return false;
    }
    found = "PEM " + block.label + ", traditional encryption " + cipher->name;
    if (passphrase == nullptr) {
        log.LogError("the key file is encrypted: a passphrase is needed");
        return false;
    }
    unsigned char key[32];
    bool badPadding = false;
    bool ok = bytesToKey(*cipher, iv, *passphrase, key, log) &&
              cbcDecrypt(*cipher, key, iv.getData2(), encrypted, der, badPadding, log);
    secureWipe(key, sizeof key);
    if (ok && !isPrivateKeyStructure(der)) {
        der.secureClear();
        badPadding = true;
        ok = false;
    }
    if (badPadding) log.LogError("wrong passphrase or corrupt file");
    return ok;
}

bool loadTraditionalPem(const char* pemText, const DataBuffer* passphrase, EccKey& key, std::string& found,
                        LogBase& log) {
    key.clearEccKey();
    DataBuffer der;
    der.setSecure(true);
    if (decryptTraditionalPem(pemText, passphrase, der, found, log) && key.loadEccDer(der, log)) return true;
    key.clearEccKey();
    return false;
}

}  // namespace keyfile
}  // namespace vn
