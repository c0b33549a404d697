// ECDSA verification for secp256k1 keys on the fixed-width engine.

#include <cstdint>

#include "ecc/EccKey.h"
#include "ecc/SignatureDecoding.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/OrderArithmetic.h"
#include "ecc/secp256k1/Uint256Conversions.h"

namespace vn {

namespace {

constexpr unsigned kScalarBytes = 32;

// 1 when 0 < v < n.
std::uint32_t inOrderRange(const _vnUnsigned256& v) {
    return (1u - v.isZeroFlag()) & v.lessFlag(_vnCurvePt::m_s_order);
}

// Everything here is public (signature, digest, public point), so plain branches are fine.
bool signatureMatches(const _vnUnsigned256& r, const _vnUnsigned256& s, const _vnUnsigned256& e,
                      const _vnCurvePt& Q) {
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;

    // An invalid public point is reported as a non-matching signature, not as a failure:
    // off the curve, the point at infinity, or outside the prime-order group.
    _vnCurvePt nQ = Q;
    nQ.multiplyPt(n);
    if (inOrderRange(r) == 0 || inOrderRange(s) == 0 || Q.isZero() || !Q.isOnCurve() || !nQ.isZero()) {
        return false;
    }

    _vnUnsigned256 w = s;
    w.reciprocal(n);
    _vnUnsigned256 u1 = w;
    multiplyModOrder(u1, e);
    _vnUnsigned256 u2 = w;
    multiplyModOrder(u2, r);

    _vnCurvePt P = _vnCurvePt::m_s_G;
    P.multiplyPt(u1);
    _vnCurvePt P2 = Q;
    P2.multiplyPt(u2);
    P.addPt(P2);
    P.normalizePt();
    // The zero point normalises to x = 0, which never equals an r that passed the range test.
    _vnUnsigned256 x(P.x);
    x.subtract(n, 1u - x.lessFlag(n));
    return x == r;
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
    const bool valid = signatureMatches(r, s, e, Q);

    sigValid = valid;
    log.LogDataLong("sigValid", valid ? 1 : 0);
    return true;
}

}  // namespace vn
