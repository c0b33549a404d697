// ECDH key agreement: the x-coordinate of k * Q, fieldBytes wide (SEC 1 ECSVDP-DH).

#include "ecc/EccKey.h"
#include "ecc/SecretMarking.h"
#include "ecc/SigningSupport.h"
#include "ecc/generic/CurveEngine.h"
#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/PointMultiplication.h"
#include "ecc/secp256k1/Uint256Conversions.h"
#include "host/BigNum.h"
#include "host/SecureWipe.h"

namespace vn {

bool EccKey::sharedSecret(EccKey& pubKey, DataBuffer& secret, LogBase& log) {
    LogContextExitor ctx(log, "sharedSecret");
    secret.clear();
    secret.setSecure(true);
    if (m_keyType != 1) {
        log.LogError("Must be a private key.");
        return false;
    }
    if (!m_curve.name.equals(pubKey.m_curve.name)) {
        log.LogError("ECC curves are different");
        log.LogDataSb("privKeyCurve", m_curve.name);
        log.LogDataSb("pubKeyCurve", pubKey.m_curve.name);
        return false;
    }
    mp_int p;
    if (!BigNum::mp_read_radix(p, m_curve.p.getString(), 16)) {
        log.LogDataSb("curvePrime", m_curve.p);
        log.LogError("Failed to decode curve prime.");
        return false;
    }

    mp_int x;
    if (usesSecp256k1Engine()) {
        _vnUnsigned256 k, qx, qy;
        // Wider values would be truncated into a different scalar or point; refuse them.
        if (!mp_int_to_uint256(m_k, k) || !mp_int_to_uint256(pubKey.m_pubPoint.x, qx) ||
            !mp_int_to_uint256(pubKey.m_pubPoint.y, qy)) {
            log.LogError("Value is larger than 256 bits.");
            return false;
        }
        ECCKEY_SECRET(&k, sizeof k);
        const _vnCurvePt P(_vnFieldElement(qx), _vnFieldElement(qy), _vnCurvePt::m_s_fiOne);
        _vnPt64 product;
        multiplyPointOddWindows(pt64::fromCurvePt(P), k, product);
        _vnCurvePt shared = pt64::toNormalizedCurvePt(product);
        _vnUnsigned256 sharedX(shared.x);
        ECCKEY_PUBLIC(&sharedX, sizeof sharedX);
        uint256_to_mp_int(sharedX, x);
        secureWipe(&k, sizeof k);
        secureWipe(&product, sizeof product);
        secureWipe(&shared, sizeof shared);
        secureWipe(&sharedX, sizeof sharedX);
    } else {
        mp_int a;
        if (m_curve.hasA && !BigNum::mp_read_radix(a, m_curve.A.getString(), 16)) {
            log.LogError("Failed to decode curve A.");
            return false;
        }
        EccPoint result;
        const CurveEngine* engine = curveEngine(m_curve);
        bool multiplied = false;
        if (engine != nullptr) {
            LogContextExitor multiplying(log, "pointMultiply");
            multiplied = engine->multiply(m_k, pubKey.m_pubPoint, result);
        }
        if (!multiplied) {
            log.LogError("Point multiply failed.");
            return false;
        }
        BigNum::mp_copy(result.x, x);
    }
    return appendLeftPadded(x, static_cast<unsigned int>(m_curve.fieldBytes), secret);
}

}  // namespace vn
