#pragma once

#include <memory>
#include <vector>

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/VantorObject.h"
#include "host/mp_int.h"

namespace vn {

// A small ASN.1 value tree for signatures: SEQUENCEs (and other constructed items) holding
// INTEGERs and other primitives. A parent owns its sub-items.
class vn_asnItem : public VantorObject {
public:
    vn_asnItem();
    ~vn_asnItem() override;

    // Turns this item into an empty SEQUENCE.
    void newSequence();
    // Appends an INTEGER holding the non-negative value in DER form (a 00 byte in front of a
    // magnitude whose top bit is set, so every peer reads it as positive).
    bool appendUnsignedInt(mp_int& value, LogBase& log);
    // The same; kept as its own name for the callers that insist on the leading-byte rule.
    bool appendUnsignedInt_ensure7bit(mp_int& value, LogBase& log);

    bool isConstructed() const;
    // The tag number (2 INTEGER, 16 SEQUENCE) for universal items; for application,
    // context-specific and private items the whole identifier byte (0xA0 for [0] constructed),
    // so that they never pass for a universal type.
    int getTag() const;
    int numSubItems() const;
    // Sub-item i, still owned by this item; null when there is none.
    vn_asnItem* getSubItem_doNotDelete(int i);
    // The value of a non-negative INTEGER in minimal DER form; false for any other item, a
    // negative INTEGER or one with a superfluous leading 00.
    bool get_mp(mp_int& out, LogBase& log);

private:
    friend class DerCodec;

    // The identifier byte as it appears on the wire; 0 for an item that is nothing yet.
    unsigned char m_ident = 0;
    // Content octets of a primitive item; constructed items keep theirs as sub-items.
    DataBuffer m_content;
    std::vector<std::unique_ptr<vn_asnItem>> m_subItems;

    bool appendInteger(mp_int& value, LogBase& log);
};

// DER encoding and strict decoding of vn_asnItem trees.
class DerCodec {
public:
    // Appends the DER encoding of the tree to out.
    static bool itemToDer(vn_asnItem& item, DataBuffer& out);
    // Parses one DER element from the start of the bytes into a new tree (the caller owns
    // it); consumed tells how many bytes it took. Null on any malformed input.
    static vn_asnItem* derToItem(const unsigned char* der, unsigned int len, unsigned int& consumed, LogBase& log);
    // Writes a description of bytes that failed to load as a key to the log.
    static void derDiagnostic(const DataBuffer& der, LogBase& log);

private:
    static bool encodeTree(const vn_asnItem& item, DataBuffer& out);
    // Throws std::bad_alloc; derToItem turns that into a failure.
    static std::unique_ptr<vn_asnItem> parseTree(const unsigned char* der, unsigned avail, int depth,
                                                 unsigned& consumed, LogBase& log);
};

}  // namespace vn
