#include "host/Asn1.h"

#include <cstddef>
#include <new>
#include <string>

#include "host/DerReader.h"

namespace vn {

namespace {

constexpr unsigned char kIdentBoolean = 0x01;
constexpr unsigned char kIdentInteger = 0x02;
constexpr unsigned char kIdentBitString = 0x03;
constexpr unsigned char kIdentOctetString = 0x04;
constexpr unsigned char kIdentNull = 0x05;
constexpr unsigned char kIdentOid = 0x06;
constexpr unsigned char kIdentSequence = 0x30;

constexpr const char* kOutOfMemory = "Out of memory building an ASN.1 tree.";

// ---------------------------------------------------------------------------------------
// OBJECT IDENTIFIER arcs. A subidentifier is a base-128 number of any size, so arcs are held
// as little-endian base-128 digits: encoding is then a copy, and only the dotted decimal text
// needs arithmetic. Arcs are capped far above anything registered (UUID arcs under 2.25 are
// 128 bits) so that hostile input cannot make the decimal conversion quadratic in megabytes.

using Base128 = std::string;  // little-endian digits 0..127, no high zero digits; empty is 0

constexpr std::size_t kMaxArcDigits = 64;  // 448 bits

void trimHigh(Base128& v) {
    while (!v.empty() && v.back() == 0) v.pop_back();
}

unsigned digitAt(const Base128& v, std::size_t i) { return static_cast<unsigned char>(v[i]); }

// v = v * m + a, for m and a below 2^16.
void mulAdd(Base128& v, unsigned m, unsigned a) {
    unsigned carry = a;
    for (std::size_t i = 0; i < v.size(); ++i) {
        const unsigned t = digitAt(v, i) * m + carry;
        v[i] = static_cast<char>(t & 0x7F);
        carry = t >> 7;
    }
    for (; carry != 0; carry >>= 7) v.push_back(static_cast<char>(carry & 0x7F));
}

// v = v / m; returns the remainder.
unsigned divSmall(Base128& v, unsigned m) {
    unsigned rem = 0;
    for (std::size_t i = v.size(); i-- > 0;) {
        const unsigned cur = (rem << 7) | digitAt(v, i);
        v[i] = static_cast<char>(cur / m);
        rem = cur % m;
    }
    trimHigh(v);
    return rem;
}

// v = v - s for s < 128 and v >= s.
void subSmall(Base128& v, unsigned s) {
    unsigned borrow = s;
    for (std::size_t i = 0; i < v.size() && borrow != 0; ++i) {
        const unsigned d = digitAt(v, i);
        if (d >= borrow) {
            v[i] = static_cast<char>(d - borrow);
            borrow = 0;
        } else {
            v[i] = static_cast<char>(d + 128 - borrow);
            borrow = 1;
        }
    }
    trimHigh(v);
}

// The value when it is below 2^28, for comparisons against the first-arc boundaries.
bool smallValue(const Base128& v, unsigned& out) {
    if (v.size() > 4) return false;
    out = 0;
    for (std::size_t i = v.size(); i-- > 0;) out = (out << 7) | digitAt(v, i);
    return true;
}

void appendDecimal(Base128 v, std::string& out) {
    if (v.empty()) {
        out += '0';
        return;
    }
    std::string digits;
    while (!v.empty()) digits += static_cast<char>('0' + divSmall(v, 10));
    out.append(digits.rbegin(), digits.rend());
}

// One decimal arc at p, up to '.' or the end; canonical text only (no sign, no leading 0).
bool parseArc(const char*& p, Base128& v) {
    v.clear();
    if (*p < '0' || *p > '9') return false;
    if (*p == '0' && p[1] >= '0' && p[1] <= '9') return false;
    for (; *p >= '0' && *p <= '9'; ++p) {
        mulAdd(v, 10, static_cast<unsigned>(*p - '0'));
        if (v.size() > kMaxArcDigits) return false;
    }
    return true;
}

void appendSubidentifier(const Base128& v, std::string& out) {
    if (v.empty()) {
        out += '\0';
        return;
    }
    for (std::size_t i = v.size(); i-- > 0;) {
        out += static_cast<char>(digitAt(v, i) | (i != 0 ? 0x80u : 0u));
    }
}

// Content octets of the dotted text; false for anything but canonical dotted decimal with
// at least two arcs, a first arc of 0, 1 or 2, and a second arc below 40 under 0 and 1.
bool oidContentFromText(const char* dotted, std::string& content) {
    if (dotted == nullptr) return false;
    const char* p = dotted;
    Base128 first;
    Base128 arc;
    unsigned firstValue = 0;
    if (!parseArc(p, first) || !smallValue(first, firstValue) || firstValue > 2 || *p != '.') return false;
    ++p;
    if (!parseArc(p, arc)) return false;
    unsigned secondValue = 0;
    if (firstValue < 2 && (!smallValue(arc, secondValue) || secondValue >= 40)) return false;
    mulAdd(arc, 1, 40 * firstValue);
    if (arc.size() > kMaxArcDigits) return false;
    appendSubidentifier(arc, content);
    while (*p == '.') {
        ++p;
        if (!parseArc(p, arc)) return false;
        appendSubidentifier(arc, content);
    }
    return *p == '\0';
}

// Checks the DER rules for the content of the universal primitives the key structures use;
// null when acceptable, else the reason. Other types are carried as opaque bytes.
const char* checkPrimitive(unsigned char ident, const unsigned char* c, unsigned n) {
    switch (ident) {
        case kIdentBoolean:
            if (n != 1 || (c[0] != 0x00 && c[0] != 0xFF)) return "ASN.1 BOOLEAN is not DER.";
            return nullptr;
        case kIdentInteger:
            if (n == 0) return "ASN.1 INTEGER has no content.";
            if (n > 1 && ((c[0] == 0x00 && (c[1] & 0x80) == 0) || (c[0] == 0xFF && (c[1] & 0x80) != 0))) {
                return "ASN.1 INTEGER is not minimally encoded.";
            }
            return nullptr;
        case kIdentBitString:
            if (n == 0) return "ASN.1 BIT STRING has no unused-bits byte.";
            if (c[0] > 7 || (n == 1 && c[0] != 0)) return "ASN.1 BIT STRING has an invalid unused-bits count.";
            if (n > 1 && (c[n - 1] & ((1u << c[0]) - 1)) != 0) return "ASN.1 BIT STRING has non-zero padding bits.";
            return nullptr;
        case kIdentNull:
            if (n != 0) return "ASN.1 NULL has content.";
            return nullptr;
        case kIdentOid: {
            if (n == 0) return "ASN.1 OBJECT IDENTIFIER is empty.";
            if ((c[n - 1] & 0x80) != 0) return "ASN.1 OBJECT IDENTIFIER ends inside a subidentifier.";
            std::size_t digits = 0;
            bool atStart = true;
            for (unsigned i = 0; i < n; ++i) {
                if (atStart && c[i] == 0x80) return "ASN.1 OBJECT IDENTIFIER subidentifier is not minimal.";
                ++digits;
                if (digits > kMaxArcDigits) return "ASN.1 OBJECT IDENTIFIER arc is too large.";
                atStart = (c[i] & 0x80) == 0;
                if (atStart) digits = 0;
            }
            return nullptr;
        }
        default:
            return nullptr;
    }
}

// Holds the reference of a node under construction; gives it back unless released.
class NodeRef {
public:
    explicit NodeRef(_vnAsn1* p) : m_p(p) {}
    ~NodeRef() {
        if (m_p != nullptr) m_p->decRefCount();
    }
    NodeRef(const NodeRef&) = delete;
    NodeRef& operator=(const NodeRef&) = delete;
    _vnAsn1* release() {
        _vnAsn1* p = m_p;
        m_p = nullptr;
        return p;
    }

private:
    _vnAsn1* m_p;
};

}  // namespace

_vnAsn1::_vnAsn1() { m_content.setSecure(true); }

_vnAsn1::~_vnAsn1() {
    for (_vnAsn1* part : m_parts) part->decRefCount();
}

// ---------------------------------------------------------------------------------------
// Factories

_vnAsn1* _vnAsn1::newSequence() {
    _vnAsn1* node = new (std::nothrow) _vnAsn1();
    if (node != nullptr) node->m_ident = kIdentSequence;
    return node;
}

_vnAsn1* _vnAsn1::newInteger(int v) {
    const unsigned u = static_cast<unsigned>(v);
    unsigned char bytes[sizeof u];
    for (std::size_t i = 0; i < sizeof u; ++i) {
        bytes[i] = static_cast<unsigned char>(u >> (8 * (sizeof u - 1 - i)));
    }
    // Two's complement, minimal: a leading 00 or FF goes when the next byte carries the sign.
    std::size_t start = 0;
    while (start + 1 < sizeof u && ((bytes[start] == 0x00 && (bytes[start + 1] & 0x80) == 0) ||
                                    (bytes[start] == 0xFF && (bytes[start + 1] & 0x80) != 0))) {
        ++start;
    }
    _vnAsn1* p = new (std::nothrow) _vnAsn1();
    if (p == nullptr) return nullptr;
    p->m_ident = kIdentInteger;
    if (!p->m_content.append(bytes + start, static_cast<unsigned>(sizeof u - start))) {
        p->decRefCount();
        return nullptr;
    }
    return p;
}

_vnAsn1* _vnAsn1::newOid(const char* dotted) {
    std::string content;
    try {
        if (!oidContentFromText(dotted, content)) return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    _vnAsn1* node = new (std::nothrow) _vnAsn1();
    if (node == nullptr) return nullptr;
    node->m_ident = kIdentOid;
    if (!node->m_content.append(content.data(), static_cast<unsigned>(content.size()))) {
        node->decRefCount();
        return nullptr;
    }
    return node;
}

_vnAsn1* _vnAsn1::newOctetString(const unsigned char* bytes, unsigned int n) {
    if (bytes == nullptr && n != 0) return nullptr;
    _vnAsn1* node = new (std::nothrow) _vnAsn1();
    if (node == nullptr) return nullptr;
    node->m_ident = kIdentOctetString;
    if (n != 0 && !node->m_content.append(bytes, n)) {
        node->decRefCount();
        return nullptr;
    }
    return node;
}

_vnAsn1* _vnAsn1::newBitString(const unsigned char* bytes, unsigned int n) {
    if (bytes == nullptr && n != 0) return nullptr;
    _vnAsn1* node = new (std::nothrow) _vnAsn1();
    if (node == nullptr) return nullptr;
    node->m_ident = kIdentBitString;
    const unsigned char unusedBits = 0;
    if (!node->m_content.append(&unusedBits, 1) || (n != 0 && !node->m_content.append(bytes, n))) {
        node->decRefCount();
        return nullptr;
    }
    return node;
}

_vnAsn1* _vnAsn1::newContextSpecificContructed(unsigned int tag) {
    // Tag 31 and above need the multi-byte identifier form, which no key structure uses.
    if (tag >= der::kTagNumberMask) return nullptr;
    _vnAsn1* node = new (std::nothrow) _vnAsn1();
    if (node != nullptr) {
        node->m_ident = static_cast<unsigned char>(der::kClassContextSpecific | der::kConstructedBit | tag);
    }
    return node;
}

// ---------------------------------------------------------------------------------------
// Children

bool _vnAsn1::AppendPart(_vnAsn1* child) {
    if (child == nullptr) return false;
    if (child == this || !isConstructed()) {
        child->decRefCount();
        return false;
    }
    try {
        m_parts.push_back(child);
    } catch (const std::bad_alloc&) {
        child->decRefCount();
        return false;
    }
    return true;
}

_vnAsn1* _vnAsn1::getAsnPart(int i) {
    if (i < 0 || static_cast<std::size_t>(i) >= m_parts.size()) return nullptr;
    return m_parts[static_cast<std::size_t>(i)];
}

int _vnAsn1::numAsnParts() const { return static_cast<int>(m_parts.size()); }

bool _vnAsn1::deletePart(int i) {
    if (i < 0 || static_cast<std::size_t>(i) >= m_parts.size()) return false;
    const auto it = m_parts.begin() + i;
    _vnAsn1* part = *it;
    m_parts.erase(it);
    part->decRefCount();
    return true;
}

// ---------------------------------------------------------------------------------------
// Tests and values

bool _vnAsn1::isSequence() const { return m_ident == kIdentSequence; }
bool _vnAsn1::isBitString() const { return m_ident == kIdentBitString; }
bool _vnAsn1::isOctetString() const { return m_ident == kIdentOctetString; }
bool _vnAsn1::isOid() const { return m_ident == kIdentOid; }
bool _vnAsn1::isInteger() const { return m_ident == kIdentInteger; }
bool _vnAsn1::isConstructed() const { return (m_ident & der::kConstructedBit) != 0; }
unsigned int _vnAsn1::tagClass() const { return m_ident & der::kClassMask; }
unsigned int _vnAsn1::tagNumber() const { return m_ident & der::kTagNumberMask; }

bool _vnAsn1::isContextSpecific(unsigned int tag) const {
    return tag < der::kTagNumberMask &&
           m_ident == (der::kClassContextSpecific | der::kConstructedBit | tag);
}

bool _vnAsn1::GetOid(StringBuffer& out) const {
    out.clear();
    if (!isOid()) return false;
    const unsigned n = m_content.getSize();
    const unsigned char* c = m_content.getData2();
    // Decoded nodes were checked on the way in and built ones are well formed, but a
    // defensive re-check keeps this function safe on its own.
    if (n == 0 || checkPrimitive(kIdentOid, c, n) != nullptr) return false;
    try {
        std::string text;
        Base128 v;
        bool first = true;
        for (unsigned i = 0; i < n; ++i) {
            v.insert(v.begin(), static_cast<char>(c[i] & 0x7F));
            if ((c[i] & 0x80) != 0) continue;
            trimHigh(v);
            if (first) {
                unsigned small = 0;
                if (smallValue(v, small) && small < 80) {
                    text += small < 40 ? "0." : "1.";
                    v.assign(1, static_cast<char>(small % 40));
                    trimHigh(v);
                } else {
                    text += "2.";
                    subSmall(v, 80);
                }
                first = false;
            } else {
                text += '.';
            }
            appendDecimal(v, text);
            v.clear();
        }
        return out.append(text.c_str());
    } catch (const std::bad_alloc&) {
        out.clear();
        return false;
    }
}

int _vnAsn1::asnIntValue() const {
    const unsigned n = m_content.getSize();
    if (!isInteger() || n == 0 || n > sizeof(int)) return 0;
    const unsigned char* c = m_content.getData2();
    unsigned u = (c[0] & 0x80) != 0 ? ~0u : 0u;
    for (unsigned i = 0; i < n; ++i) u = (u << 8) | c[i];
    return static_cast<int>(u);
}

bool _vnAsn1::getAsnContent(DataBuffer& out) const {
    if (isConstructed()) {
        const unsigned oldSize = out.getSize();
        for (const _vnAsn1* part : m_parts) {
            if (!part->encodeTree(out, 1)) {
                out.truncate(oldSize);
                return false;
            }
        }
        return true;
    }
    const unsigned n = m_content.getSize();
    if (isBitString()) {
        if (n == 0) return false;
        return n == 1 || out.append(m_content.getData2() + 1, n - 1);
    }
    return n == 0 || out.append(m_content);
}

// ---------------------------------------------------------------------------------------
// DER

bool _vnAsn1::EncodeToDer(DataBuffer& out, bool /*flag*/, LogBase& log) {
    const unsigned oldSize = out.getSize();
    if (encodeTree(out, 0)) return true;
    out.truncate(oldSize);
    log.LogError("Failed to encode ASN.1 tree as DER.");
    return false;
}

bool _vnAsn1::encodeTree(DataBuffer& out, int depth) const {
    // Trees built here are shallow; the limit only stops a tree that contains itself.
    if (depth > der::kMaxDepth) return false;
    if (!isConstructed()) {
        return der::appendHeader(m_ident, m_content.getSize(), out) && out.append(m_content);
    }
    DataBuffer body;
    body.setSecure(true);
    for (const _vnAsn1* part : m_parts) {
        if (!part->encodeTree(body, depth + 1)) return false;
    }
    return der::appendHeader(m_ident, body.getSize(), out) && out.append(body);
}

_vnAsn1* _vnAsn1::DecodeToAsn(const unsigned char* der, unsigned int len, unsigned int& consumed, LogBase& log) {
    consumed = 0;
    if (der == nullptr || len == 0) {
        log.LogError("No DER bytes to decode.");
        return nullptr;
    }
    unsigned used = 0;
    _vnAsn1* root = parseTree(der, len, 0, used, log);
    if (root != nullptr) consumed = used;
    return root;
}

_vnAsn1* _vnAsn1::parseTree(const unsigned char* bytes, unsigned avail, int depth, unsigned& consumed,
                            LogBase& log) {
    if (depth >= der::kMaxDepth) {
        log.LogError("ASN.1 nesting is too deep.");
        return nullptr;
    }
    der::Header h;
    if (const char* why = der::readHeader(bytes, avail, h)) {
        log.LogError(why);
        return nullptr;
    }
    _vnAsn1* p = new (std::nothrow) _vnAsn1();
    if (p == nullptr) {
        log.LogError(kOutOfMemory);
        return nullptr;
    }
    NodeRef guard(p);
    p->m_ident = h.ident;
    const unsigned char* content = bytes + h.headerLen;
    if ((h.ident & der::kConstructedBit) == 0) {
        if ((h.ident & der::kClassMask) == 0) {
            if (const char* why = checkPrimitive(h.ident, content, h.contentLen)) {
                log.LogError(why);
                return nullptr;
            }
        }
        if (h.contentLen != 0 && !p->m_content.append(content, h.contentLen)) {
            log.LogError(kOutOfMemory);
            return nullptr;
        }
    } else {
        unsigned pos = 0;
        while (pos < h.contentLen) {
            unsigned used = 0;
            _vnAsn1* child = parseTree(content + pos, h.contentLen - pos, depth + 1, used, log);
            if (child == nullptr) return nullptr;
            if (!p->AppendPart(child)) {
                log.LogError(kOutOfMemory);
                return nullptr;
            }
            pos += used;
        }
    }
    consumed = h.headerLen + h.contentLen;
    return guard.release();
}

}  // namespace vn
