#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/VantorObject.h"

namespace vn {

class _vnAsn1;
class ClsJsonObject;
class mp_int;

/// Base of every key class. It carries what a key keeps beside its numbers: the PKCS#8
/// attributes ([0] IMPLICIT SET OF Attribute, as DER) a loaded private key came with, so
/// that exporting it again loses nothing.
class KeyBase : public VantorObject {
public:
    /// No attributes; m_pkcs8Attributes is a secure buffer.
    KeyBase();
    ~KeyBase() override = default;

    /// Forgets the attributes (wiped).
    void clearKeyBase();
    /// Copies other's attributes.
    void copyFromKeyBase(const KeyBase& other);
    /// Internal (_vnAsn1 is not a public type): appends the key's PKCS#8 attributes to a
    /// PrivateKeyInfo SEQUENCE, when it has any; true when there is nothing to add.
    /// EccKey::toEccPkcs8PrivateKeyDer calls it.
    /// @fails "PKCS#8 attributes can only be added to a SEQUENCE.",
    ///        "The stored PKCS#8 attributes are not valid DER.",
    ///        "The stored PKCS#8 attributes are not a single [0] element."
    bool addAttributesToPkcs8(_vnAsn1& privateKeyInfo, LogBase& log);
    /// Reads a JWK member's base64url text (RFC 7518 Base64urlUInt) as an unsigned big-endian
    /// number into out (replaced).
    /// @fails "JWK member is missing", "JWK member is empty", "JWK member is not valid base64url",
    ///        "JWK member is too large".
    static bool jwkContentToMpInt(const ClsJsonObject& jwk, const char* member, mp_int& out, LogBase& log);

    /// The attributes as DER of one [0] element, empty when none. Set by EccKey::loadEccDer
    /// from a PKCS#8 input; written back by EccKey::toEccPkcs8PrivateKeyDer.
    DataBuffer m_pkcs8Attributes;
};

}  // namespace vn
