#pragma once

#include "host/DataBuffer.h"
#include "host/VantorObject.h"

namespace vn {

// Base of every key class. It carries what a key keeps beside its numbers: the PKCS#8
// attributes ([0] IMPLICIT SET OF Attribute, as DER) a loaded private key came with, so
// that exporting it again loses nothing.
class KeyBase : public VantorObject {
public:
    KeyBase();
    ~KeyBase() override = default;

    void clearKeyBase();
    void copyFromKeyBase(const KeyBase& other);

    DataBuffer m_pkcs8Attributes;
};

}  // namespace vn
