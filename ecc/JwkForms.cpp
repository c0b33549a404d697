// The key as a JSON Web Key (RFC 7517, RFC 7518 section 6.2). The texts are built piece by
// piece with a fixed member order and no white space, so equal keys give equal bytes; the
// thumbprint order is the one RFC 7638 hashes. Loading takes the point from "x" and "y" as
// given, without recomputing it from "d".

#include "ecc/EccKey.h"
#include "ecc/KeyLoadGuard.h"
#include "host/BigNum.h"
#include "host/JsonObject.h"
#include "host/TextEncoding.h"

namespace vn {

namespace {

// The value big-endian, left-padded with zeros to width bytes (all of its bytes when it is
// longer), appended as unpadded base64url. The bytes may be k, so they stay in a secure buffer.
bool appendFixedBase64Url(const mp_int& value, unsigned int width, StringBuffer& out) {
    unsigned int len = static_cast<unsigned int>(BigNum::mp_unsigned_bin_size(value));
    unsigned int total = len > width ? len : width;
    DataBuffer bytes;
    bytes.setSecure(true);
    for (unsigned int i = 0; i < total; ++i) {
        if (!bytes.appendChar(0)) return false;
    }
    if (len > 0) BigNum::mpint_to_bytes(value, bytes.getData2() + (total - len));
    return encoding::base64Encode(bytes.getData2(), bytes.getSize(), /*url*/ true, out);
}

}  // namespace

bool EccKey::getJwkCurveName(StringBuffer& out, LogBase& log) {
    (void)log;
    if (m_curve.oid.equals("1.2.840.10045.3.1.7")) return out.append("P-256");
    if (m_curve.oid.equals("1.3.132.0.34")) return out.append("P-384");
    if (m_curve.oid.equals("1.3.132.0.35")) return out.append("P-521");
    return out.append(m_curve.name);
}

bool EccKey::toEccPrivateKeyJwk(StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toEccPrivateKeyJwk");
    out.secureClear();
    const unsigned int width = static_cast<unsigned int>(m_curve.fieldBytes);
    // Every piece is attempted even after a failure; one check at the end decides.
    bool ok = out.append("{\"kty\":\"EC\",\"crv\":\"");
    ok &= getJwkCurveName(out, log);
    ok &= out.append("\",\"x\":\"");
    ok &= appendFixedBase64Url(m_pubPoint.x, width, out);
    ok &= out.append("\",\"y\":\"");
    ok &= appendFixedBase64Url(m_pubPoint.y, width, out);
    ok &= out.append("\",\"d\":\"");
    ok &= appendFixedBase64Url(m_k, m_curve.orderBytes(), out);
    ok &= out.append("\"}");
    if (!ok) out.secureClear();
    return ok;
}

bool EccKey::toEccPublicKeyJwk(StringBuffer& out, bool thumbprintOrder, LogBase& log) {
    LogContextExitor ctx(log, "toEccPublicKeyJwk");
    out.clear();
    const unsigned int width = static_cast<unsigned int>(m_curve.fieldBytes);
    bool ok;
    if (thumbprintOrder) {
        ok = out.append("{\"crv\":\"");
        ok &= getJwkCurveName(out, log);
        ok &= out.append("\",\"kty\":\"EC\",\"x\":\"");
    } else {
        ok = out.append("{\"kty\":\"EC\",\"crv\":\"");
        ok &= getJwkCurveName(out, log);
        ok &= out.append("\",\"x\":\"");
    }
    ok &= appendFixedBase64Url(m_pubPoint.x, width, out);
    ok &= out.append("\",\"y\":\"");
    ok &= appendFixedBase64Url(m_pubPoint.y, width, out);
    ok &= out.append("\"}");
    if (!ok) out.clear();
    return ok;
}

bool EccKey::loadAnyJwk(const ClsJsonObject& jwk, LogBase& log) {
    LogContextExitor ctx(log, "loadAnyJwk_ecc");
    PrivateTypeGuard guard(*this);
    clearEccKey();
    m_keyType = 0;

    LogNull quiet;
    if (jwk.hasMember("d", quiet)) {
        m_keyType = 1;
        if (!jwkContentToMpInt(jwk, "d", m_k, log)) return false;
    }

    StringBuffer crv;
    if (!jwk.sbOfPathUtf8("crv", crv, log)) {
        log.LogError("JWK crv member in ECC key is missing");
        return false;
    }
    if (!m_curve.loadCurveByName(crv.getString(), log)) {
        log.LogError("Invalid ECC curve name");
        log.LogDataSb("crv", crv);
        return false;
    }
    if (m_keyType == 1 && !privateScalarIsUsable(m_k, m_curve, log)) return false;

    m_pubPoint.format = 4;
    BigNum::mp_set(m_pubPoint.z, 1);
    if (!jwkContentToMpInt(jwk, "x", m_pubPoint.x, log)) return false;
    return guard.succeeded(jwkContentToMpInt(jwk, "y", m_pubPoint.y, log));
}

}  // namespace vn
