#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/VantorObject.h"

namespace vn {

class _vnAsn1;
class ClsJsonObject;
class mp_int;

// Base of every key class. It carries what a key keeps beside its numbers: the PKCS#8
// attributes ([0] IMPLICIT SET OF Attribute, as DER) a loaded private key came with, so
// that exporting it again loses nothing.
class KeyBase : public VantorObject {
public:
    KeyBase();
    ~KeyBase() override = default;

    void clearKeyBase();
    void copyFromKeyBase(const KeyBase& other);
    // Appends the key's PKCS#8 attributes ([0] IMPLICIT SET OF Attribute) to a
    // PrivateKeyInfo SEQUENCE, when it has any; true when there is nothing to add.
    bool addAttributesToPkcs8(_vnAsn1& privateKeyInfo, LogBase& log);
    // Reads a JWK member's base64url text (RFC 7518 Base64urlUInt) as an unsigned big-endian
    // number. False, with an error line, when the member is absent or does not decode.
    static bool jwkContentToMpInt(const ClsJsonObject& jwk, const char* member, mp_int& out, LogBase& log);

    DataBuffer m_pkcs8Attributes;
};

}  // namespace vn
