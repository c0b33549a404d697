#pragma once

// DER element headers, shared by the two node trees (vn_asnItem for signatures, _vnAsn1
// for key structures) so that both accept and refuse exactly the same framing.

#include "host/DataBuffer.h"

namespace vn {
namespace der {

constexpr unsigned char kConstructedBit = 0x20;
constexpr unsigned char kClassMask = 0xC0;
constexpr unsigned char kClassContextSpecific = 0x80;
constexpr unsigned char kTagNumberMask = 0x1F;

// Signatures and key structures nest a handful of levels; anything deeper is hostile input
// trying to exhaust the stack.
constexpr int kMaxDepth = 32;

// Appends identifier, definite minimal length; false only when memory runs out.
inline bool appendHeader(unsigned char ident, unsigned contentLen, DataBuffer& out) {
    unsigned char header[6];
    unsigned n = 0;
    header[n++] = ident;
    if (contentLen < 0x80) {
        header[n++] = static_cast<unsigned char>(contentLen);
    } else {
        unsigned lenBytes = 0;
        for (unsigned v = contentLen; v != 0; v >>= 8) ++lenBytes;
        header[n++] = static_cast<unsigned char>(0x80 | lenBytes);
        for (unsigned i = lenBytes; i > 0; --i) {
            header[n++] = static_cast<unsigned char>(contentLen >> (8 * (i - 1)));
        }
    }
    return out.append(header, n);
}

// One parsed header.
struct Header {
    unsigned char ident = 0;
    unsigned headerLen = 0;
    unsigned contentLen = 0;
};

// Reads the identifier and length at der[0..avail); null on success, else the reason, for
// the caller to log. On success the whole element lies within avail.
inline const char* readHeader(const unsigned char* der, unsigned avail, Header& h) {
    if (avail < 2) return "ASN.1 element header is truncated.";
    h.ident = der[0];
    if ((h.ident & kTagNumberMask) == kTagNumberMask) return "ASN.1 high tag numbers are not supported.";
    if (h.ident == 0x00) return "ASN.1 end-of-contents marker where an element was expected.";
    const bool universal = (h.ident & kClassMask) == 0;
    const bool constructed = (h.ident & kConstructedBit) != 0;
    if (universal) {
        const unsigned number = h.ident & kTagNumberMask;
        // DER fixes the form of universal types: SEQUENCE and SET constructed, the rest
        // (INTEGER, the string types, ...) primitive.
        const bool mustBeConstructed = number == 16 || number == 17;
        if (constructed != mustBeConstructed) {
            return "ASN.1 universal type has the wrong form (primitive/constructed).";
        }
    }
    const unsigned char b1 = der[1];
    if (b1 < 0x80) {
        h.headerLen = 2;
        h.contentLen = b1;
    } else {
        if (b1 == 0x80) return "ASN.1 indefinite length is not allowed in DER.";
        const unsigned lenBytes = b1 & 0x7Fu;
        if (lenBytes > 4) return "ASN.1 length field is too long.";
        if (avail - 2 < lenBytes) return "ASN.1 length field is truncated.";
        if (der[2] == 0) return "ASN.1 length has a leading zero byte (not DER).";
        unsigned len = 0;
        for (unsigned i = 0; i < lenBytes; ++i) len = (len << 8) | der[2 + i];
        if (len < 0x80) return "ASN.1 long-form length below 128 (not DER).";
        h.headerLen = 2 + lenBytes;
        h.contentLen = len;
    }
    if (h.contentLen > avail - h.headerLen) return "ASN.1 element extends past the end of its input.";
    return nullptr;
}

}  // namespace der
}  // namespace vn
