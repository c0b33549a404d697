#include "host/KeyBase.h"

#include "host/Asn1.h"

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

}  // namespace vn
