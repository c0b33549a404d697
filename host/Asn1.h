#pragma once

#include <vector>

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"
#include "host/VantorObject.h"

namespace vn {

// A reference-counted ASN.1 node for key structures: primitives (INTEGER, BIT STRING,
// OCTET STRING, OBJECT IDENTIFIER, ...) with content bytes, constructed nodes (SEQUENCE,
// SET, context-specific [n]) with an ordered list of children. A parent owns its children;
// a root is released with decRefCount, normally through a RefCountedObjectOwner.
class _vnAsn1 : public RefCountedObject {
public:
    // Factories; null when memory runs out (or the OID text is malformed).
    static _vnAsn1* newSequence();
    static _vnAsn1* newInteger(int v);
    static _vnAsn1* newOid(const char* dotted);
    static _vnAsn1* newOctetString(const unsigned char* bytes, unsigned int n);
    // A BIT STRING with 0 unused bits whose content is the bytes.
    static _vnAsn1* newBitString(const unsigned char* bytes, unsigned int n);
    // Explicit context-specific constructed node [tag] (identifier byte 0xA0 + tag).
    static _vnAsn1* newContextSpecificContructed(unsigned int tag);

    // Appends a child; the parent takes over the caller's reference (also on failure).
    bool AppendPart(_vnAsn1* child);
    // Child i (still owned by this node), or null.
    _vnAsn1* getAsnPart(int i);
    int numAsnParts() const;
    // Removes and releases child i; false when there is none.
    bool deletePart(int i);

    bool isSequence() const;
    bool isBitString() const;
    bool isOctetString() const;
    bool isOid() const;
    bool isInteger() const;
    bool isConstructed() const;
    // Tag class bits (0x00 universal, 0x80 context-specific, ...) and tag number.
    unsigned int tagClass() const;
    unsigned int tagNumber() const;
    // True for a context-specific constructed node [tag].
    bool isContextSpecific(unsigned int tag) const;

    // The dotted text of an OBJECT IDENTIFIER node; false for any other node.
    bool GetOid(StringBuffer& out) const;
    // The value of a small INTEGER node (0 for anything else or anything too large).
    int asnIntValue() const;
    // Appends the content bytes; for a BIT STRING the bytes after its unused-bits byte.
    bool getAsnContent(DataBuffer& out) const;

    // DER of the tree appended to out; the flag is unused (callers pass false).
    bool EncodeToDer(DataBuffer& out, bool flag, LogBase& log);
    // Parses one DER element into a new tree (the caller owns the root); consumed tells the
    // bytes taken. Null on malformed input.
    static _vnAsn1* DecodeToAsn(const unsigned char* der, unsigned int len, unsigned int& consumed, LogBase& log);

protected:
    _vnAsn1();
    ~_vnAsn1() override;

private:
    // The identifier byte as it appears on the wire.
    unsigned char m_ident = 0;
    // Content octets of a primitive node (secure: key structures carry private keys).
    DataBuffer m_content;
    // Children of a constructed node, one reference held on each.
    std::vector<_vnAsn1*> m_parts;

    bool encodeTree(DataBuffer& out, int depth) const;
    static _vnAsn1* parseTree(const unsigned char* der, unsigned avail, int depth, unsigned& consumed,
                              LogBase& log);
};

}  // namespace vn
