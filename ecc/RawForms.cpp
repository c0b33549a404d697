// Keys without any wrapping: the scalar as bare bytes, the point as bare X9.63 bytes, and both
// as hexadecimal text. With no identifier in the data, the curve follows from the length.

#include "ecc/EccKey.h"
#include "host/BigNum.h"

namespace vn {

namespace {

const char* privateCurveOidForLength(unsigned int len, bool preferSecp256k1) {
    switch (len) {
        case 20: return "1.3.132.0.8";
        case 32: return preferSecp256k1 ? "1.3.132.0.10" : "1.2.840.10045.3.1.7";
        case 48: return "1.3.132.0.34";
        case 66: return "1.3.132.0.35";
        default: return nullptr;
    }
}

// A 65-byte point is taken for secp256r1, never secp256k1: the bytes cannot tell them apart.
const char* publicCurveOidForLength(unsigned int len) {
    switch (len) {
        case 65: return "1.2.840.10045.3.1.7";
        case 97: return "1.3.132.0.34";
        case 133: return "1.3.132.0.35";
        default: return nullptr;
    }
}

}  // namespace

bool EccKey::loadEccPrivateRaw(const DataBuffer& raw, bool preferSecp256k1, LogBase& log) {
    LogContextExitor ctx(log, "loadEccPrivateRaw");
    clearEccKey();
    if (!BigNum::mpint_from_bytes(m_k, raw.getData2(), static_cast<int>(raw.getSize()))) {
        log.LogError("Failed to parse K");
        return false;
    }
    const char* oid = privateCurveOidForLength(raw.getSize(), preferSecp256k1);
    if (oid == nullptr) {
        log.LogError("Invalid ECC key size.");
        BigNum::mp_zero(m_k);  // nothing of a refused key stays behind
        return false;
    }
    StringBuffer curveOid(oid);
    if (!m_curve.loadCurveByOid(curveOid, log)) return false;
    if (!genPubKey(log)) {
        log.LogError("Failed to generate EC public key from private.");
        return false;
    }
    m_keyType = 1;
    return true;
}

bool EccKey::loadEccPublicRaw(DataBuffer& x963, LogBase& log) {
    LogContextExitor ctx(log, "_loadEccPublicRaw");
    clearEccKey();
    if (x963.getSize() == 0) return false;
    if (x963.byteAt(0) != 0x04) {
        log.LogError("Not a raw ECC public key.");
        return false;
    }
    const char* oid = publicCurveOidForLength(x963.getSize());
    if (oid == nullptr) {
        log.LogError("Invalid ECC public key size.");
        return false;
    }
    StringBuffer curveOid(oid);
    if (!m_curve.loadCurveByOid(curveOid, log)) return false;
    bool ok = m_pubPoint.loadEccPoint(x963, log);
    if (!ok) log.LogError("Failed to load ECC point.");
    m_keyType = 0;
    return ok;
}

bool EccKey::loadEcPubKeyByCurveAndPoint(const char* curveName, DataBuffer& x963, LogBase& log) {
    LogContextExitor ctx(log, "loadEcPubKeyByCurveAndPoint");
    clearEccKey();
    if (!m_curve.loadCurveByName(curveName, log)) return false;
    if (!m_pubPoint.loadEccPoint(x963, log)) {
        log.LogError("Failed to load ECC point.");
        return false;
    }
    m_keyType = 0;
    return true;
}

bool EccKey::toRawHex(StringBuffer& privHex, StringBuffer& pubHex, LogBase& log) {
    (void)log;  // nothing is logged: the text may be a private key
    unsigned int width = static_cast<unsigned int>(m_curve.fieldBytes);
    StringBuffer work;
    BigNum::mpint_to_hex_zero_extended(m_k, width, work);
    work.toLowerCase();
    privHex.append(work);
    work.secureClear();
    work.append("04");
    BigNum::mpint_to_hex_zero_extended(m_pubPoint.x, width, work);
    BigNum::mpint_to_hex_zero_extended(m_pubPoint.y, width, work);
    work.toLowerCase();
    pubHex.append(work);
    return true;
}

}  // namespace vn
