#include "host/AsnItem.h"

#include <cstdio>
#include <new>
#include <string>

#include "host/BigNum.h"
#include "host/DerReader.h"

namespace vn {

namespace {

constexpr unsigned char kIdentInteger = 0x02;
constexpr unsigned char kIdentSequence = 0x30;
using der::kClassMask;
using der::kConstructedBit;
using der::kMaxDepth;
using der::kTagNumberMask;

// Diagnostic output stops here so a large blob cannot flood the log.
constexpr int kMaxDiagnosticLines = 64;

}  // namespace

// ---------------------------------------------------------------------------------------
// vn_asnItem

vn_asnItem::vn_asnItem() = default;

vn_asnItem::~vn_asnItem() = default;

void vn_asnItem::newSequence() {
    m_ident = kIdentSequence;
    m_content.clear();
    m_subItems.clear();
}

bool vn_asnItem::appendUnsignedInt(mp_int& value, LogBase& log) { return appendInteger(value, log); }

bool vn_asnItem::appendUnsignedInt_ensure7bit(mp_int& value, LogBase& log) {
    return appendInteger(value, log);
}

bool vn_asnItem::appendInteger(mp_int& value, LogBase& log) {
    if (!isConstructed()) {
        log.LogError("Cannot append an INTEGER to an ASN.1 item that is not constructed.");
        return false;
    }
    if (value.isNegative()) {
        log.LogError("Cannot append a negative value as an unsigned INTEGER.");
        return false;
    }
    std::unique_ptr<vn_asnItem> child(new (std::nothrow) vn_asnItem());
    if (!child) return false;
    child->m_ident = kIdentInteger;
    const int n = BigNum::mp_unsigned_bin_size(value);
    // One spare byte for the 00 that keeps a set top bit from reading as a sign.
    unsigned char stackBytes[80];
    std::unique_ptr<unsigned char[]> heapBytes;
    unsigned char* bytes = stackBytes;
    if (static_cast<unsigned>(n) + 1 > sizeof stackBytes) {
        heapBytes.reset(new (std::nothrow) unsigned char[static_cast<unsigned>(n) + 1]);
        if (!heapBytes) return false;
        bytes = heapBytes.get();
    }
    bytes[0] = 0;
    BigNum::mpint_to_bytes(value, bytes + 1);
    // Zero has no magnitude bytes but DER needs one content byte; a set top bit needs the 00.
    const bool keepZero = n == 0 || (bytes[1] & 0x80) != 0;
    const unsigned char* start = keepZero ? bytes : bytes + 1;
    const unsigned len = static_cast<unsigned>(n) + (keepZero ? 1u : 0u);
    if (!child->m_content.append(start, len)) return false;
    try {
        m_subItems.push_back(std::move(child));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool vn_asnItem::isConstructed() const { return (m_ident & kConstructedBit) != 0; }

int vn_asnItem::getTag() const {
    if ((m_ident & kClassMask) == 0) return m_ident & kTagNumberMask;
    return m_ident;
}

int vn_asnItem::numSubItems() const { return static_cast<int>(m_subItems.size()); }

vn_asnItem* vn_asnItem::getSubItem_doNotDelete(int i) {
    if (i < 0 || static_cast<std::size_t>(i) >= m_subItems.size()) return nullptr;
    return m_subItems[static_cast<std::size_t>(i)].get();
}

bool vn_asnItem::get_mp(mp_int& out, LogBase& log) {
    if (m_ident != kIdentInteger) {
        log.LogError("ASN.1 item is not an INTEGER.");
        return false;
    }
    const unsigned len = m_content.getSize();
    if (len == 0) {
        log.LogError("ASN.1 INTEGER has no content.");
        return false;
    }
    const unsigned char* p = m_content.getData2();
    if ((p[0] & 0x80) != 0) {
        log.LogError("ASN.1 INTEGER is negative.");
        return false;
    }
    // A 00 is only needed in front of a byte whose top bit is set; any other leading 00
    // gives a second encoding of the same value, which a signature must not have.
    if (len > 1 && p[0] == 0 && (p[1] & 0x80) == 0) {
        log.LogError("ASN.1 INTEGER has a superfluous leading zero byte.");
        return false;
    }
    if (!BigNum::mpint_from_bytes(out, p, static_cast<int>(len))) {
        log.LogError("ASN.1 INTEGER is too large.");
        return false;
    }
    return true;
}

// ---------------------------------------------------------------------------------------
// DerCodec

bool DerCodec::itemToDer(vn_asnItem& item, DataBuffer& out) {
    const unsigned oldSize = out.getSize();
    if (encodeTree(item, out)) return true;
    out.truncate(oldSize);
    return false;
}

bool DerCodec::encodeTree(const vn_asnItem& item, DataBuffer& out) {
    if (item.m_ident == 0) return false;
    if (!item.isConstructed()) {
        return der::appendHeader(item.m_ident, item.m_content.getSize(), out) && out.append(item.m_content);
    }
    DataBuffer body;
    for (const std::unique_ptr<vn_asnItem>& sub : item.m_subItems) {
        if (!encodeTree(*sub, body)) return false;
    }
    return der::appendHeader(item.m_ident, body.getSize(), out) && out.append(body);
}

vn_asnItem* DerCodec::derToItem(const unsigned char* der, unsigned int len, unsigned int& consumed,
                                LogBase& log) {
    consumed = 0;
    if (der == nullptr || len == 0) {
        log.LogError("No DER bytes to decode.");
        return nullptr;
    }
    try {
        return parseTree(der, len, 0, consumed, log).release();
    } catch (const std::bad_alloc&) {
        consumed = 0;
        log.LogError("Out of memory decoding DER.");
        return nullptr;
    }
}

std::unique_ptr<vn_asnItem> DerCodec::parseTree(const unsigned char* der, unsigned avail, int depth,
                                                unsigned& consumed, LogBase& log) {
    if (depth >= kMaxDepth) {
        log.LogError("ASN.1 nesting is too deep.");
        return nullptr;
    }
    der::Header h;
    if (const char* why = der::readHeader(der, avail, h)) {
        log.LogError(why);
        return nullptr;
    }
    std::unique_ptr<vn_asnItem> item(new vn_asnItem());
    item->m_ident = h.ident;
    const unsigned char* content = der + h.headerLen;
    if ((h.ident & kConstructedBit) == 0) {
        if (!item->m_content.append(content, h.contentLen)) throw std::bad_alloc();
    } else {
        unsigned pos = 0;
        while (pos < h.contentLen) {
            unsigned used = 0;
            std::unique_ptr<vn_asnItem> sub =
                parseTree(content + pos, h.contentLen - pos, depth + 1, used, log);
            if (!sub) return nullptr;
            item->m_subItems.push_back(std::move(sub));
            pos += used;
        }
    }
    consumed = h.headerLen + h.contentLen;
    return item;
}

namespace {

// Keeps the first error line instead of writing it, so the diagnostic can report it as
// information: the caller has already failed with its own error line.
class FirstErrorLog : public LogNull {
public:
    void LogError(const char* text) override {
        if (m_first.empty() && text != nullptr) m_first = text;
    }
    std::string m_first;
};

const char* universalName(int tag) {
    switch (tag) {
        case 1: return "BOOLEAN";
        case 2: return "INTEGER";
        case 3: return "BIT STRING";
        case 4: return "OCTET STRING";
        case 5: return "NULL";
        case 6: return "OBJECT IDENTIFIER";
        case 12: return "UTF8String";
        case 16: return "SEQUENCE";
        case 17: return "SET";
        case 19: return "PrintableString";
        case 23: return "UTCTime";
        case 24: return "GeneralizedTime";
        default: return "";
    }
}

void describeTree(vn_asnItem& item, int depth, int& lines, LogBase& log) {
    if (lines >= kMaxDiagnosticLines) return;
    ++lines;
    DataBuffer der;
    DerCodec::itemToDer(item, der);
    char text[128];
    const int tag = item.getTag();
    const char* name = tag < 0x20 ? universalName(tag) : "";
    std::snprintf(text, sizeof text, "depth %d: tag 0x%02X%s%s, %u bytes", depth,
                  static_cast<unsigned>(tag), name[0] != '\0' ? " " : "", name, der.getSize());
    log.LogInfo(text);
    for (int i = 0; i < item.numSubItems(); ++i) {
        describeTree(*item.getSubItem_doNotDelete(i), depth + 1, lines, log);
    }
    if (lines == kMaxDiagnosticLines) {
        log.LogInfo("(further elements not listed)");
        ++lines;
    }
}

}  // namespace

void DerCodec::derDiagnostic(const DataBuffer& der, LogBase& log) {
    char text[128];
    std::snprintf(text, sizeof text, "DER diagnostic: %u bytes", der.getSize());
    log.LogInfo(text);
    if (der.getSize() == 0) return;
    FirstErrorLog errors;
    unsigned consumed = 0;
    std::unique_ptr<vn_asnItem> tree(derToItem(der.getData2(), der.getSize(), consumed, errors));
    if (!tree) {
        std::snprintf(text, sizeof text, "Not valid DER: %s", errors.m_first.c_str());
        log.LogInfo(text);
        return;
    }
    int lines = 0;
    describeTree(*tree, 0, lines, log);
    if (consumed < der.getSize()) {
        std::snprintf(text, sizeof text, "%u bytes follow the first element", der.getSize() - consumed);
        log.LogInfo(text);
    }
}

}  // namespace vn
