#include "host/KeyBase.h"

namespace vn {

KeyBase::KeyBase() { m_pkcs8Attributes.setSecure(true); }

void KeyBase::clearKeyBase() { m_pkcs8Attributes.clear(); }

void KeyBase::copyFromKeyBase(const KeyBase& other) {
    if (&other == this) return;
    m_pkcs8Attributes.clear();
    m_pkcs8Attributes.append(other.m_pkcs8Attributes);
}

}  // namespace vn
