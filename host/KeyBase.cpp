#include "host/KeyBase.h"

#include "host/Asn1.h"
#include "host/BigNum.h"
#include "host/JsonObject.h"
#include "host/TextEncoding.h"

namespace vn {

KeyBase::KeyBase() { m_pkcs8Attributes.setSecure(true); }

void KeyBase::clearKeyBase() { m_pkcs8Attributes.clear(); }

void KeyBase::copyFromKeyBase(const KeyBase& other) {
    if (&other == this) return;
    m_pkcs8Attributes.clear();
    m_pkcs8Attributes.append(other.m_pkcs8Attributes);
}

bool KeyBase::addAttributesToPkcs8(_vnAsn1& privateKeyInfo, LogBase& log) {
    const unsigned n = m_pkcs8Attributes.getSize();
    if (n == 0) return true;
    if (!privateKeyInfo.isSequence()) {
        log.LogError("PKCS#8 attributes can only be added to a SEQUENCE.");
        return false;
    }
    unsigned consumed = 0;
    _vnAsn1* attributes = _vnAsn1::DecodeToAsn(m_pkcs8Attributes.getData2(), n, consumed, log);
    if (attributes == nullptr) {
        log.LogError("The stored PKCS#8 attributes are not valid DER.");
        return false;
    }
    // What is stored is exactly the [0] element of a loaded PrivateKeyInfo; anything else
    // would produce a structure no reader accepts.
    if (consumed != n || !attributes->isContextSpecific(0)) {
        attributes->decRefCount();
        log.LogError("The stored PKCS#8 attributes are not a single [0] element.");
        return false;
    }
    if (!privateKeyInfo.AppendPart(attributes)) {
        log.LogError("Failed to append the PKCS#8 attributes.");
        return false;
    }
    return true;
}

// JWS/JWK base64url has neither padding nor white space (RFC 7515 section 2); accepting
// either would give one number several spellings.
static bool isBase64UrlText(const StringBuffer& text) {
    const char* s = text.getString();
    for (unsigned i = 0; i < text.getSize(); ++i) {
        char c = s[i];
        bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
        if (!ok) return false;
    }
    return true;
}

bool KeyBase::jwkContentToMpInt(const ClsJsonObject& jwk, const char* member, mp_int& out, LogBase& log) {
    StringBuffer text;
    if (!jwk.sbOfPathUtf8(member, text, log)) {
        log.LogError("JWK member is missing");
        log.LogDataStr("member", member);
        return false;
    }
    if (text.getSize() == 0) {
        log.LogError("JWK member is empty");
        log.LogDataStr("member", member);
        return false;
    }
    DataBuffer bytes;
    bytes.setSecure(true);
    bool decoded = isBase64UrlText(text) &&
                   encoding::base64Decode(text.getString(), text.getSize(), /*url*/ true, bytes);
    text.secureClear();
    if (!decoded) {
        log.LogError("JWK member is not valid base64url");
        log.LogDataStr("member", member);
        return false;
    }
    if (!BigNum::mpint_from_bytes(out, bytes.getData2(), static_cast<int>(bytes.getSize()))) {
        log.LogError("JWK member is too large");
        log.LogDataStr("member", member);
        return false;
    }
    return true;
}

}  // namespace vn
