#include "keyfile/KeyReader.h"

#include <cstring>

#include "host/BigNum.h"
#include "host/JsonObject.h"
#include "host/Pem.h"
#include "host/Xml.h"
#include "keyfile/EncryptedPkcs8.h"
#include "keyfile/KeyTypes.h"
#include "keyfile/OpenSshFiles.h"
#include "keyfile/PemEncryption.h"
#include "keyfile/PointCompression.h"
#include "keyfile/PuttyFiles.h"

namespace vn {
namespace keyfile {

bool scalarMatchesPoint(EccKey& key, LogBase& log) {
    EccKey check;
    check.copyFromEccKey(key);
    if (check.genPubKey(log) && BigNum::mp_cmp(check.m_pubPoint.x, key.m_pubPoint.x) == 0 &&
        BigNum::mp_cmp(check.m_pubPoint.y, key.m_pubPoint.y) == 0) {
        return true;
    }
    log.LogError("The private scalar does not match the public key in the file.");
    key.clearEccKey();
    return false;
}

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

// The input as text with surrounding white space removed, kept in a wiping buffer; false for
// bytes that cannot be text (a NUL), which leaves DER as the only candidate.
bool asText(const DataBuffer& input, StringBuffer& text) {
    const char* p = reinterpret_cast<const char*>(input.getData2());
    unsigned n = input.getSize();
    if (n == 0 || std::memchr(p, 0, n) != nullptr) return false;
    unsigned start = 0;
    while (start < n && isSpace(p[start])) ++start;
    while (n > start && isSpace(p[n - 1])) --n;
    return text.appendN(p + start, n - start);
}

bool isHexText(const StringBuffer& text) { return text.isHexidecimal() && text.getSize() % 2 == 0; }

// DER of a key, its public point expanded first when it is compressed: the key object reads
// only the uncompressed form. A decrypted body is only now seen for what it holds, so keys of
// other types are named here too.
bool loadDer(DataBuffer& der, EccKey& key, LogBase& log) {
    std::string otherType;
    if (nameOtherKeyType(der, otherType)) {
        log.LogError(otherType.c_str());
        return false;
    }
    return uncompressInDer(der, log) && key.loadEccDer(der, log);
}

// The PBES1 and PBES2 identifiers (1.2.840.113549.1.5.*) open an EncryptedPrivateKeyInfo's
// algorithm, a few bytes in.
bool isEncryptedPkcs8(const DataBuffer& der) {
    static const unsigned char kPkcs5[] = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x05};
    const unsigned n = der.getSize() < 16 ? der.getSize() : 16;
    for (unsigned i = 0; i + sizeof kPkcs5 <= n; ++i) {
        if (std::memcmp(der.getData2() + i, kPkcs5, sizeof kPkcs5) == 0) return true;
    }
    return false;
}

// Encrypted PKCS#8 DER: decrypted, then read as any PKCS#8.
bool loadEncryptedDer(const DataBuffer& der, const char* container, const ReadOptions& options, EccKey& key,
                      std::string& form, LogBase& log) {
    DataBuffer plain;
    std::string protection;
    const bool ok = decryptPkcs8(der, options.passphrase, plain, protection, log, options.kdfLimits);
    form = std::string(container) + (protection.empty() ? "" : ", " + protection);
    return ok && loadDer(plain, key, log);
}

// Binary DER of any key form.
bool loadAnyDer(const DataBuffer& input, const ReadOptions& options, EccKey& key, std::string& form, LogBase& log) {
    form = "DER";
    if (isEncryptedPkcs8(input)) return loadEncryptedDer(input, "DER EncryptedPrivateKeyInfo", options, key, form, log);
    DataBuffer der;
    der.setSecure(true);
    return der.append(input) && loadDer(der, key, log);
}

// PEM: the first key block, skipping the "EC PARAMETERS" block that `openssl ecparam
// -genkey` writes in front of the key.
bool loadPem(const char* text, const ReadOptions& options, EccKey& key, std::string& form, LogBase& log) {
    const char* at = text;
    for (;;) {
        StringBuffer label;
        DataBuffer der;
        if (!PemReader::readFirst(at, label, der, log)) return false;
        if (label.equals("EC PARAMETERS")) {
            const char* end = std::strstr(at, "-----END EC PARAMETERS-----");
            if (end == nullptr) return false;
            at = end + std::strlen("-----END EC PARAMETERS-----");
            continue;
        }
        form = std::string("PEM \"") + label.getString() + "\"";
        if (label.equals("OPENSSH PRIVATE KEY")) return loadOpenSshPrivateFile(der, options.passphrase, key, form, log, options.kdfLimits);
        if (label.equals("ENCRYPTED PRIVATE KEY")) {
            return loadEncryptedDer(der, "PEM ENCRYPTED PRIVATE KEY", options, key, form, log);
        }
        if (!label.equals("EC PRIVATE KEY") && !label.equals("PRIVATE KEY") && !label.equals("PUBLIC KEY")) {
            log.LogError("This PEM label does not hold an EC key.");
            log.LogDataSb("label", label);
            return false;
        }
        return loadDer(der, key, log);
    }
}

bool loadHex(const StringBuffer& text, const std::string& curveHint, EccKey& key, LogBase& log) {
    DataBuffer bytes;
    bytes.setSecure(true);
    if (!bytes.appendEncoded(text.getString(), "hex")) return false;
    const bool isPoint = bytes.getSize() > 0 && bytes.byteAt(0) == 0x04 && bytes.getSize() % 2 == 1;
    if (!curveHint.empty()) {
        EccCurve named;
        // 02/03 and one field width: a compressed point (a scalar that wide and that large would
        // not be below the order).
        if (isCompressedPoint(bytes) && named.loadCurveByName(curveHint.c_str(), log) &&
            bytes.getSize() == static_cast<unsigned>(named.fieldBytes) + 1) {
            DataBuffer x963;
            return decompressPoint(named, bytes, x963, log) &&
                   key.loadEcPubKeyByCurveAndPoint(curveHint.c_str(), x963, log);
        }
        if (isPoint) return key.loadEcPubKeyByCurveAndPoint(curveHint.c_str(), bytes, log);
        StringBuffer curve(curveHint.c_str());
        return key.generateNewKey2(curve, text.getString(), "hex", log);
    }
    if (isPoint) return key.loadEccPublicRaw(bytes, log);
    // An odd length past secp160r1's 21 bytes is no scalar width: a point whose curve is unknown.
    if (isCompressedPoint(bytes) && bytes.getSize() % 2 == 1 && bytes.getSize() > 21) {
        log.LogError("A compressed point does not say its curve: name the curve with it.");
        return false;
    }
    return key.loadEccPrivateRaw(bytes, false, log);
}

}  // namespace

const char* const kTooMuchWork = "The key file asks for more key-derivation work than this reader allows.";
const char* const kNeedPassphrase = "the key file is encrypted: a passphrase is needed";
const char* const kWrongPassphrase = "wrong passphrase or corrupt file";

const char* const kPointNotOnCurve = "The public point is not on the curve.";

bool pointOnCurve(EccKey& key, LogBase& log) {
    mp_int p;
    if (BigNum::mp_read_radix(p, key.m_curve.p.getString(), 16) && BigNum::mp_cmp(key.m_pubPoint.x, p) < 0 &&
        BigNum::mp_cmp(key.m_pubPoint.y, p) < 0 && !key.m_pubPoint.x.isNegative() &&
        !key.m_pubPoint.y.isNegative() && key.isPoint(log)) {
        return true;
    }
    log.LogError(kPointNotOnCurve);
    key.clearEccKey();
    return false;
}

namespace {

bool detectAndLoad(const DataBuffer& input, const ReadOptions& options, EccKey& key, std::string& form, LogBase& log);

}  // namespace

bool readKey(const DataBuffer& input, const ReadOptions& options, EccKey& key, std::string& found, LogBase& log) {
    LogContextExitor ctx(log, "readKey");
    if (!detectAndLoad(input, options, key, found, log)) {
        key.clearEccKey();
        return false;
    }
    // A file that stores both can pair a scalar with another key's point; signatures made with
    // such a key would verify against nothing.
    return pointOnCurve(key, log) && (key.m_keyType != 1 || scalarMatchesPoint(key, log));
}

namespace {

bool detectAndLoad(const DataBuffer& input, const ReadOptions& options, EccKey& key, std::string& form, LogBase& log) {
    key.clearEccKey();
    std::string otherType;
    if (nameOtherKeyType(input, otherType)) {
        form = "a key of another type";
        log.LogError(otherType.c_str());
        return false;
    }
    form = "unrecognised";
    StringBuffer text;
    if (!asText(input, text)) return loadAnyDer(input, options, key, form, log);
    const char* t = text.getString();
    if (isTraditionalEncryptedPem(t)) {
        DataBuffer der;
        return decryptTraditionalPem(t, options.passphrase, der, form, log) && loadDer(der, key, log);
    }
    if (std::strstr(t, "-----BEGIN ") != nullptr && !text.beginsWith("PuTTY-User-Key-File-")) {
        return loadPem(t, options, key, form, log);
    }
    if (text.beginsWith("PuTTY-User-Key-File-")) {
        form = "PuTTY .ppk";
        return loadPuttyPpk(t, options.passphrase, key, form, log, options.kdfLimits);
    }
    if (text.beginsWith("ecdsa-sha2-")) {
        form = "OpenSSH public key line";
        return loadOpenSshPublicLine(t, key, log);
    }
    if (t[0] == '{') {
        form = "JWK";
        ClsJsonObject jwk;
        return jwk.load(t, log) && key.loadAnyJwk(jwk, log);
    }
    if (t[0] == '<') {
        form = "XML";
        ClsXml xml;
        return xml.loadXml(t, log) && key.loadAnyXml(xml, log);
    }
    if (isHexText(text)) {
        form = "raw hexadecimal";
        return loadHex(text, options.curveHint, key, log);
    }
    if (input.getSize() > 0 && input.byteAt(0) == 0x30) return loadAnyDer(input, options, key, form, log);
    log.LogError("The input is not a key in any form this tool reads.");
    return false;
}

}  // namespace

}  // namespace keyfile
}  // namespace vn
