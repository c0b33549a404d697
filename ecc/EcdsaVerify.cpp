// ECDSA verification on the generic engine (secp256k1 keys go to the fixed-width engine).

#include "ecc/EccKey.h"
#include "ecc/SignatureDecoding.h"
#include "ecc/SigningSupport.h"
#include "ecc/generic/CurveEngine.h"
#include "host/BigNum.h"

namespace vn {

namespace {

bool verifyError(LogBase& log, long code) {
    log.LogDataLong("EccVerifyError", code);
    return false;
}

}  // namespace

bool EccKey::eccVerifyHash(const unsigned char* sig, unsigned int siglen, bool useRLen, const unsigned char* hash,
                           unsigned int inlen, bool& sigValid, LogBase& log, unsigned int rLen) {
    LogContextExitor ctx(log, "eccVerifyHash");
    sigValid = false;
    unsigned int L = eccEffectiveDigestLength(m_curve.fieldBytes, inlen);
    if (usesSecp256k1Engine()) return eccVerifyHashK(sig, siglen, useRLen, hash, L, sigValid, log, rLen);

    if (sig == nullptr || siglen == 0 || hash == nullptr || L == 0) {
        log.LogError("null inputs.");
        return false;
    }
    mp_int r, s;
    if (!unpackDsaSig(sig, siglen, useRLen, r, s, log, rLen)) {
        log.LogError("Failed to unpack ASN.1 DSA/ECDSA signature.");
        return false;
    }
    mp_int n, p;
    if (!BigNum::mp_read_radix(n, m_curve.n.getString(), 16)) {
        log.LogError("Failed to decode curve order.");
        return false;
    }
    if (!BigNum::mp_read_radix(p, m_curve.p.getString(), 16)) {
        log.LogError("Failed to decode curve prime.");
        return false;
    }
    if (r.isZero() || s.isZero() || BigNum::mp_cmp(r, n) != -1 || BigNum::mp_cmp(s, n) != -1) {
        return verifyError(log, 1);
    }

    mp_int e, w, u1, u2;
    if (!BigNum::mpint_from_bytes(e, hash, static_cast<int>(L))) return verifyError(log, 2);
    if (BigNum::mp_invmod(s, n, w) != MP_OKAY) return verifyError(log, 3);
    if (BigNum::mp_mulmod(e, w, n, u1) != MP_OKAY) return verifyError(log, 4);
    if (BigNum::mp_mulmod(r, w, n, u2) != MP_OKAY) return verifyError(log, 5);

    EccPoint G, Q;
    if (!BigNum::mp_read_radix(G.x, m_curve.Gx.getString(), 16)) return verifyError(log, 6);
    if (!BigNum::mp_read_radix(G.y, m_curve.Gy.getString(), 16)) return verifyError(log, 7);
    BigNum::mp_set(G.z, 1);
    if (BigNum::mp_copy(m_pubPoint.x, Q.x) != MP_OKAY) return verifyError(log, 8);
    if (BigNum::mp_copy(m_pubPoint.y, Q.y) != MP_OKAY) return verifyError(log, 9);
    if (BigNum::mp_copy(m_pubPoint.z, Q.z) != MP_OKAY) return verifyError(log, 10);

    mp_int a;
    if (m_curve.hasA && !BigNum::mp_read_radix(a, m_curve.A.getString(), 16)) {
        log.LogError("Failed to decode curve A.");
        return false;
    }
    // u1*G + u2*Q, its x reduced modulo n and compared with r in one step of the engine.
    const CurveEngine* engine = curveEngine(m_curve);
    bool match = false;
    if (engine == nullptr || !engine->verifyMatch_var(u1, u2, Q, r, match)) return verifyError(log, 11);
    sigValid = match;
    return true;
}

}  // namespace vn
