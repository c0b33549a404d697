#pragma once
#include <cstdint>

#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/Field4x64.h"

namespace vn {

// A point of secp256k1 in projective coordinates on the four-limb field: (X/Z, Y/Z), and the
// point at infinity as (0, Y, 0) with Y != 0. Plain data, stack only.
struct _vnPt64 {
    _vnFe64 x;
    _vnFe64 y;
    _vnFe64 z;
};

// An affine point (z = 1 implied); never the point at infinity.
struct _vnAffine64 {
    _vnFe64 x;
    _vnFe64 y;
};

namespace pt64 {

// The point at infinity (0, 1, 0).
_vnPt64 infinity();

// The complete formulas for prime-order short Weierstrass curves with a = 0: one sequence of
// field operations gives the right sum for every pair of points of the curve, the point at
// infinity, equal and opposite points included, so a scalar multiplication needs neither a
// branch nor a mask to handle them. Inputs must lie on the curve (or be the point at
// infinity); the output may alias an input.

// r = p + q.
void add(_vnPt64& r, const _vnPt64& p, const _vnPt64& q);
// r = p + q for an affine q (never the point at infinity); p may be anything on the curve.
void addAffine(_vnPt64& r, const _vnPt64& p, const _vnAffine64& q);
// r = 2p.
void twice(_vnPt64& r, const _vnPt64& p);

// r = a when flag is 1, unchanged when 0.
inline void select(_vnPt64& r, const _vnPt64& a, std::uint64_t flag) {
    fe64::select(r.x, a.x, flag);
    fe64::select(r.y, a.y, flag);
    fe64::select(r.z, a.z, flag);
}
inline void select(_vnAffine64& r, const _vnAffine64& a, std::uint64_t flag) {
    fe64::select(r.x, a.x, flag);
    fe64::select(r.y, a.y, flag);
}

// y = -y when flag is 1: the point becomes its negative.
template <typename Point>
inline void negateIf(Point& p, std::uint64_t flag) {
    _vnFe64 ny;
    fe64::negate(ny, p.y);
    fe64::select(p.y, ny, flag);
}

// The engine's point (any z) in this representation.
_vnPt64 fromCurvePt(const _vnCurvePt& p);

// The point as normalizePt leaves it: (x, y, 1) reduced below p, or the canonical (0, 1, 0)
// for the point at infinity. One constant-time inversion.
_vnCurvePt toNormalizedCurvePt(const _vnPt64& p);

// Whether the affine x of p, reduced modulo n, equals r; variable time, for verification.
// Without an inversion: X = x Z for x = r, or for x = r + n when that is still below p.
//
// In:  p any projective point; r below n.
// Returns false for the point at infinity (Z = 0), which would otherwise pass X = r Z.
bool xModOrderEquals_var(const _vnPt64& p, const _vnUnsigned256& r);

// Equality as points (projective cross-products); variable time, for tests and public data.
bool equal_var(const _vnPt64& a, const _vnPt64& b);

}  // namespace pt64
}  // namespace vn
