#pragma once
// The generic engine's operations for one named curve, with what they need prepared once: the
// field and order constants in limb form and the table of multiples of the generator. An
// engine is built on first use, once per process however many threads ask at the same time,
// and is read-only afterwards, so distinct keys use it from many threads without a lock.
//
// Host integers come in and go out; inside, everything runs on fixed limb arrays. Secrets
// (private scalars, nonces) are handled in constant time from the moment they are in limbs;
// the conversions at the boundary read the host integer's digits, whose count (the value's
// length in 28-bit digits) is all they reveal.

#include <cstddef>

#include "ecc/generic/EccPoint.h"
#include "ecc/generic/LimbCurve.h"
#include "host/mp_int.h"

namespace vn {

class EccCurve;

// A secret scalar in limbs, wiped when it goes.
struct SecretScalar {
    Limb v[kMaxFieldLimbs] = {};
    SecretScalar() = default;
    SecretScalar(const SecretScalar&) = delete;
    SecretScalar& operator=(const SecretScalar&) = delete;
    ~SecretScalar() { secureWipeLimbs(v, kMaxFieldLimbs); }
};

class CurveEngine {
public:
    virtual ~CurveEngine() = default;

    // Q = k*G, affine (z = 1), in constant time. k is first reduced modulo n, and the reduced
    // value written back into k. False for k = 0 mod n (no affine point) or when a host
    // integer cannot be written.
    virtual bool generatorMultiply(mp_int& k, EccPoint& Q) const = 0;

    // R = k*P, affine (z = 1), in constant time in k: the same sequence of field operations for
    // every k below 2^bits(n). P is any triple (affine, or Jacobian in ordinary form); it is not
    // checked to lie on the curve. k is not changed. False when the product is the point at
    // infinity (or k is 0).
    virtual bool multiply(const mp_int& k, const EccPoint& P, EccPoint& R) const = 0;

    // A signing nonce: k = the big-endian bytes (at most 8 per limb of the field) modulo n, and
    // rx = x of k*G. Constant time in the bytes. False when k = 0 mod n.
    virtual bool nonceCommitment(const unsigned char* bytes, std::size_t len, SecretScalar& k, mp_int& rx) const = 0;

    // s = k^-1 (e + r d) mod n for the nonce k of nonceCommitment, the private scalar d, the
    // digest e (any size) and r < n. Constant time in k and d. False when a host integer does
    // not convert.
    virtual bool signatureS(const SecretScalar& k, const mp_int& d, const mp_int& e, const mp_int& r,
                            mp_int& s) const = 0;

    // match = whether the affine x of u1*G + u2*Q, reduced modulo n, equals r: the ECDSA check,
    // for u1, u2 < n, r in [1, n) and Q as the key holds it (affine, or Jacobian in ordinary
    // form). Variable time: every input is public. The x is compared in projective form, as
    // X = c Z^2 for the candidates c = r and r + n below p, which spares an inversion. False
    // when the sum is the point at infinity or an input does not convert.
    virtual bool verifyMatch_var(const mp_int& u1, const mp_int& u2, const EccPoint& Q, const mp_int& r,
                                 bool& match) const = 0;

    // Bytes taken by the generator table.
    virtual std::size_t tableBytes() const = 0;
};

// The engine of one of the named curves that the generic engine serves (every one but
// secp256k1), by the curve's canonical name; null for any other curve.
const CurveEngine* curveEngine(const EccCurve& curve);

}  // namespace vn
