// ECDSA verification for secp256k1 keys on the fixed-width engine.

#include <cstdint>

#include "ecc/EccKey.h"
#include "ecc/SignatureDecoding.h"
#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/PointMultiplication.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "ecc/secp256k1/Uint256Conversions.h"

namespace vn {

namespace {

constexpr unsigned kScalarBytes = 32;

// 1 when 0 < v < n.
std::uint32_t inOrderRange(const _vnUnsigned256& v) {
    return (1u - v.isZeroFlag()) & v.lessFlag(_vnCurvePt::m_s_order);
}

// Everything here is public (signature, digest, public point), so plain branches and
// variable-time arithmetic are fine.
bool signatureMatches_var(const _vnUnsigned256& r, const _vnUnsigned256& s, const _vnUnsigned256& e,
                          const _vnCurvePt& Q) {
    // An invalid public point is reported as a non-matching signature, not as a failure: off
    // the curve or the point at infinity. A point of the curve is also in the prime-order
    // group, because the cofactor is 1, so n * Q need not be computed to know it is zero.
    if (inOrderRange(r) == 0 || inOrderRange(s) == 0 || Q.isZero() || !Q.isOnCurve()) {
        return false;
    }

    _vnUnsigned256 w = s;
    reciprocalModOrderMont(w);
    _vnUnsigned256 u1 = w;
    multiplyModOrderMont(u1, e);
    _vnUnsigned256 u2 = w;
    multiplyModOrderMont(u2, r);

    _vnPt64 P;
    multiplyTwo_var(u1, u2, pt64::fromCurvePt(Q), P);
    return pt64::xModOrderEquals_var(P, r);
}

}  // namespace

bool EccKey::eccVerifyHashK(const unsigned char* sig, unsigned int siglen, bool useRLen, const unsigned char* hash,
                            unsigned int inlen, bool& sigValid, LogBase& log, unsigned int rLen) {
    LogContextExitor ctx(log, "eccVerifyHashK");
    sigValid = false;
    if (sig == nullptr || siglen == 0 || hash == nullptr || inlen == 0) {
        log.LogError("null inputs.");
        return false;
    }
    if (inlen != kScalarBytes) {
        log.LogError("hash length must be 32");
        return false;
    }

    mp_int rm;
    mp_int sm;
    if (!unpackDsaSig(sig, siglen, useRLen, rm, sm, log, rLen)) {
        log.LogError("Failed to unpack ASN.1 DSA/ECC signature.");
        return false;
    }

    _vnUnsigned256 r;
    _vnUnsigned256 s;
    _vnUnsigned256 qx;
    _vnUnsigned256 qy;
    if (!mp_int_to_uint256(rm, r) || !mp_int_to_uint256(sm, s) || !mp_int_to_uint256(m_pubPoint.x, qx) ||
        !mp_int_to_uint256(m_pubPoint.y, qy)) {
        return false;
    }

    const _vnUnsigned256 e(hash);
    const _vnCurvePt Q(_vnFieldElement(qx), _vnFieldElement(qy), _vnCurvePt::m_s_fiOne);
    const bool valid = signatureMatches_var(r, s, e, Q);

    sigValid = valid;
    log.LogDataLong("sigValid", valid ? 1 : 0);
    return true;
}

}  // namespace vn
