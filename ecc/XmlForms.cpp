// The key as one of three small XML elements: ECCKeyValue (private, SEC1 DER), ECCPublicKey
// (coordinates in attributes, SubjectPublicKeyInfo DER as content) and the XML Signature 1.1
// ECKeyValue with a named curve. Reading accepts those and bare scalars in ECCKeyValue.

#include "ecc/EccKey.h"
#include "host/BigNum.h"
#include "host/Xml.h"

namespace vn {

namespace {

const char kDsig11Namespace[] = "http://www.w3.org/2009/xmldsig11#";

// True when the bytes are exactly one DER SEQUENCE: tag 0x30 and a definite length whose
// value ends at the last byte.
bool isOneDerSequence(const DataBuffer& bytes) {
    unsigned size = bytes.getSize();
    if (size < 2 || bytes.byteAt(0) != 0x30) return false;
    unsigned first = bytes.byteAt(1);
    unsigned header = 2;
    unsigned long len = first;
    if (first == 0x80) return false;  // indefinite
    if (first > 0x80) {
        unsigned count = first & 0x7Fu;
        if (count > 4 || 2 + count > size) return false;
        len = 0;
        for (unsigned i = 0; i < count; ++i) len = (len << 8) | bytes.byteAt(2 + i);
        header = 2 + count;
    }
    return header + len == size;
}

}  // namespace

bool EccKey::toEccPrivateKeyXml(StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toEccPrivateKeyXml");
    out.clear();
    DataBuffer der;
    der.setSecure(true);
    if (!toEccPkcs1PrivateKeyDer(der, log)) return false;
    bool ok = out.append3("<ECCKeyValue curve=\"", m_curve.name.getString(), "\">") && der.encodeDB("base64", out) &&
              out.append("</ECCKeyValue>");
    if (!ok) out.secureClear();
    return ok;
}

bool EccKey::toEccPublicKeyXml(StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toEccPublicKeyXml");
    out.clear();
    DataBuffer der;
    if (!toPublicKeyDer_longFmt(der, log)) return false;
    unsigned width = static_cast<unsigned>(m_curve.fieldBytes);
    bool ok = out.append3("<ECCPublicKey curve=\"", m_curve.name.getString(), "\" x=\"") &&
              BigNum::mpint_to_hex_zero_extended(m_pubPoint.x, width, out) && out.append("\" y=\"") &&
              BigNum::mpint_to_hex_zero_extended(m_pubPoint.y, width, out) && out.append("\">") &&
              der.encodeDB("base64", out) && out.append("</ECCPublicKey>");
    if (!ok) out.clear();
    return ok;
}

bool EccKey::toEccPublicKeyXmlDSig(StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toEccPublicKeyXmlDSig");
    out.clear();
    out.append3("<ECKeyValue xmlns=\"", kDsig11Namespace,
                "\"><NamedCurve URI=\"urn:oid:CURVE_OID\" /><PublicKey>PUBKEY_BASE64</PublicKey></ECKeyValue>");
    out.replaceFirstOccurance("CURVE_OID", m_curve.oid.getString(), false);
    DataBuffer point;
    if (!exportEccPoint(point, log)) return false;
    StringBuffer pointB64;
    if (!point.encodeDB("base64", pointB64)) return false;
    return out.replaceFirstOccurance("PUBKEY_BASE64", pointB64.getString(), false);
}

bool EccKey::loadAnyXml(const ClsXml& xml, LogBase& log) {
    LogContextExitor ctx(log, "loadAnyXml");
    clearEccKey();

    if (xml.hasChildWithTag("*:PublicKey")) {
        StringBuffer curve;
        StringBuffer pointB64;
        // Missing children leave empty texts; the curve or point loader then refuses them.
        xml.getChildAttrValue("*:NamedCurve", "URI", curve);
        xml.getChildContentUtf8("*:PublicKey", pointB64, false);
        curve.replaceFirstOccurance("urn:oid:", "", false);
        DataBuffer point;
        point.appendEncoded(pointB64.getString(), "base64");
        return loadEcPubKeyByCurveAndPoint(curve.getString(), point, log);
    }

    StringBuffer content;
    if (!xml.tagMatches("*:ECCKeyvalue", true)) {
        if (!xml.get_Content(content)) return false;
        DataBuffer der;
        der.setSecure(true);
        if (!der.appendEncoded(content.getString(), "base64")) {
            content.secureClear();
            return false;
        }
        return loadEccDer(der, log);
    }

    if (!xml.getContentSb(content)) return false;
    // Pretty-printed documents put the content between line breaks and indentation; without
    // trimming, the hex test would fail on that white space and hex would be read as base64.
    content.trim2();
    DataBuffer bytes;
    bytes.setSecure(true);
    bytes.appendEncoded(content.getString(), content.isHexidecimal() ? "hex" : "base64");
    content.secureClear();
    unsigned size = bytes.getSize();
    if (size == 0) return false;
    // An odd length with a leading zero is a scalar carrying a sign byte: 33 bytes become 32.
    if ((size & 1u) != 0 && bytes.byteAt(0) == 0x00) {
        bytes.removeChunk(0, 1);
        size = bytes.getSize();
    }
    StringBuffer curveAttr;
    xml.getAttrValue("curve", curveAttr);
    bool secp256k1 = curveAttr.equalsIgnoreCase("secp256k1");
    // 48 bytes is both a secp384r1 scalar and a secp256k1 SEC1 DER written without the public
    // key; bytes that form exactly one DER SEQUENCE are taken for the DER. The other scalar
    // lengths cannot collide with a key DER, so they keep the plain length rule.
    if (size == 48 && isOneDerSequence(bytes)) return loadEccDer(bytes, log);
    if (size == 20 || size == 32 || size == 48 || size == 66) return loadEccPrivateRaw(bytes, secp256k1, log);
    return loadEccDer(bytes, log);
}

}  // namespace vn
