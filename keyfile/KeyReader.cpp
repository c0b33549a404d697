#include "keyfile/KeyReader.h"

#include <cstring>

#include "host/BigNum.h"
#include "host/JsonObject.h"
#include "host/Pem.h"
#include "host/Xml.h"
#include "keyfile/OpenSshFiles.h"

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

// PEM: the first key block, skipping the "EC PARAMETERS" block that `openssl ecparam
// -genkey` writes in front of the key.
bool loadPem(const char* text, EccKey& key, std::string& form, LogBase& log) {
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
        if (label.equals("OPENSSH PRIVATE KEY")) return loadOpenSshPrivateFile(der, key, log);
        if (label.equals("ENCRYPTED PRIVATE KEY")) {
            log.LogError("Encrypted PKCS#8 keys are not supported; decrypt it first (openssl pkey).");
            return false;
        }
        if (!label.equals("EC PRIVATE KEY") && !label.equals("PRIVATE KEY") && !label.equals("PUBLIC KEY")) {
            log.LogError("This PEM label does not hold an EC key.");
            log.LogDataSb("label", label);
            return false;
        }
        return key.loadEccDer(der, log);
    }
}

bool loadHex(const StringBuffer& text, const std::string& curveHint, EccKey& key, LogBase& log) {
    DataBuffer bytes;
    bytes.setSecure(true);
    if (!bytes.appendEncoded(text.getString(), "hex")) return false;
    const bool isPoint = bytes.getSize() > 0 && bytes.byteAt(0) == 0x04 && bytes.getSize() % 2 == 1;
    if (!curveHint.empty()) {
        if (isPoint) return key.loadEcPubKeyByCurveAndPoint(curveHint.c_str(), bytes, log);
        StringBuffer curve(curveHint.c_str());
        return key.generateNewKey2(curve, text.getString(), "hex", log);
    }
    if (isPoint) return key.loadEccPublicRaw(bytes, log);
    return key.loadEccPrivateRaw(bytes, false, log);
}

}  // namespace

bool readKey(const DataBuffer& input, const std::string& curveHint, EccKey& key, std::string& form, LogBase& log) {
    LogContextExitor ctx(log, "readKey");
    key.clearEccKey();
    form = "unrecognised";
    StringBuffer text;
    if (!asText(input, text)) {
        form = "DER";
        DataBuffer der;
        der.setSecure(true);
        der.append(input);
        return key.loadEccDer(der, log);
    }
    const char* t = text.getString();
    if (std::strstr(t, "-----BEGIN ") != nullptr && !text.beginsWith("PuTTY-User-Key-File-")) {
        return loadPem(t, key, form, log);
    }
    if (text.beginsWith("PuTTY-User-Key-File-")) {
        form = "PuTTY .ppk";
        return loadPuttyPpk(t, key, log);
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
        return loadHex(text, curveHint, key, log);
    }
    if (input.getSize() > 0 && input.byteAt(0) == 0x30) {
        form = "DER";
        DataBuffer der;
        der.setSecure(true);
        der.append(input);
        return key.loadEccDer(der, log);
    }
    log.LogError("The input is not a key in any form this tool reads.");
    return false;
}

}  // namespace keyfile
}  // namespace vn
