#include "ecc/secp256k1/CompletePoint.h"

namespace vn {
namespace pt64 {

namespace {

// 3b for y^2 = x^3 + 7.
constexpr std::uint64_t kB3 = 21;

}  // namespace

_vnPt64 infinity() {
    _vnPt64 r = {};
    r.y.v[0] = 1;
    return r;
}

// Complete addition for a = 0: 12 products and 2 products by 3b.
void add(_vnPt64& r, const _vnPt64& p, const _vnPt64& q) {
    _vnFe64 t0, t1, t2, t3, t4, x3, y3, z3;
    fe64::mul(t0, p.x, q.x);
    fe64::mul(t1, p.y, q.y);
    fe64::mul(t2, p.z, q.z);
    fe64::add(t3, p.x, p.y);
    fe64::add(t4, q.x, q.y);
    fe64::mul(t3, t3, t4);
    fe64::add(t4, t0, t1);
    fe64::sub(t3, t3, t4);  // x1 y2 + x2 y1
    fe64::add(t4, p.y, p.z);
    fe64::add(x3, q.y, q.z);
    fe64::mul(t4, t4, x3);
    fe64::add(x3, t1, t2);
    fe64::sub(t4, t4, x3);  // y1 z2 + y2 z1
    fe64::add(x3, p.x, p.z);
    fe64::add(y3, q.x, q.z);
    fe64::mul(x3, x3, y3);
    fe64::add(y3, t0, t2);
    fe64::sub(y3, x3, y3);  // x1 z2 + x2 z1
    fe64::add(x3, t0, t0);
    fe64::add(t0, x3, t0);  // 3 x1 x2
    fe64::mulSmall(t2, t2, kB3);
    fe64::add(z3, t1, t2);
    fe64::sub(t1, t1, t2);
    fe64::mulSmall(y3, y3, kB3);
    fe64::mul(x3, t4, y3);
    fe64::mul(t2, t3, t1);
    fe64::sub(x3, t2, x3);
    fe64::mul(y3, y3, t0);
    fe64::mul(t1, t1, z3);
    fe64::add(y3, t1, y3);
    fe64::mul(t0, t0, t3);
    fe64::mul(z3, z3, t4);
    fe64::add(z3, z3, t0);
    r.x = x3;
    r.y = y3;
    r.z = z3;
}

// The same with z2 = 1: 11 products.
void addAffine(_vnPt64& r, const _vnPt64& p, const _vnAffine64& q) {
    _vnFe64 t0, t1, t2, t3, t4, x3, y3, z3;
    fe64::mul(t0, p.x, q.x);
    fe64::mul(t1, p.y, q.y);
    fe64::add(t3, q.x, q.y);
    fe64::add(t4, p.x, p.y);
    fe64::mul(t3, t3, t4);
    fe64::add(t4, t0, t1);
    fe64::sub(t3, t3, t4);
    fe64::mul(t4, q.y, p.z);
    fe64::add(t4, t4, p.y);
    fe64::mul(y3, q.x, p.z);
    fe64::add(y3, y3, p.x);
    fe64::add(x3, t0, t0);
    fe64::add(t0, x3, t0);
    fe64::mulSmall(t2, p.z, kB3);
    fe64::add(z3, t1, t2);
    fe64::sub(t1, t1, t2);
    fe64::mulSmall(y3, y3, kB3);
    fe64::mul(x3, t4, y3);
    fe64::mul(t2, t3, t1);
    fe64::sub(x3, t2, x3);
    fe64::mul(y3, y3, t0);
    fe64::mul(t1, t1, z3);
    fe64::add(y3, t1, y3);
    fe64::mul(t0, t0, t3);
    fe64::mul(z3, z3, t4);
    fe64::add(z3, z3, t0);
    r.x = x3;
    r.y = y3;
    r.z = z3;
}

// Complete doubling for a = 0: 6 products, 2 squarings, 1 product by 3b.
void twice(_vnPt64& r, const _vnPt64& p) {
    _vnFe64 t0, t1, t2, x3, y3, z3;
    fe64::sqr(t0, p.y);
    fe64::add(z3, t0, t0);
    fe64::add(z3, z3, z3);
    fe64::add(z3, z3, z3);  // 8 y^2
    fe64::mul(t1, p.y, p.z);
    fe64::sqr(t2, p.z);
    fe64::mulSmall(t2, t2, kB3);
    fe64::mul(x3, t2, z3);
    fe64::add(y3, t0, t2);
    fe64::mul(z3, t1, z3);
    fe64::add(t1, t2, t2);
    fe64::add(t2, t1, t2);
    fe64::sub(t0, t0, t2);
    fe64::mul(y3, t0, y3);
    fe64::add(y3, x3, y3);
    fe64::mul(t1, p.x, p.y);
    fe64::mul(x3, t0, t1);
    fe64::add(x3, x3, x3);
    r.x = x3;
    r.y = y3;
    r.z = z3;
}

_vnPt64 fromCurvePt(const _vnCurvePt& p) {
    _vnPt64 r;
    r.x = fe64::fromField(p.x);
    r.y = fe64::fromField(p.y);
    r.z = fe64::fromField(p.z);
    return r;
}

// The masks reproduce normalizePt: a zero z gives the canonical (0, 1, 0).
_vnCurvePt toNormalizedCurvePt(const _vnPt64& p) {
    _vnFe64 inv, x, y;
    fe64::invert(inv, p.z);
    fe64::mul(x, p.x, inv);
    fe64::mul(y, p.y, inv);
    _vnFe64 one = {{1, 0, 0, 0}};
    _vnFe64 z = one;
    const std::uint64_t atInfinity = fe64::isZeroFlag(p.z);
    const _vnFe64 zero = {{0, 0, 0, 0}};
    fe64::select(x, zero, atInfinity);
    fe64::select(y, one, atInfinity);
    fe64::select(z, zero, atInfinity);
    return _vnCurvePt(fe64::toField(x), fe64::toField(y), fe64::toField(z));
}

bool xModOrderEquals_var(const _vnPt64& p, const _vnUnsigned256& r) {
    if (fe64::isZeroFlag(p.z) != 0) return false;
    _vnFe64 scaled;
    fe64::mul(scaled, fe64::fromUnsigned(r), p.z);
    if (fe64::equalFlag(scaled, p.x) != 0) return true;
    _vnUnsigned256 rn = r;
    if (rn.add(_vnCurvePt::m_s_order, 1) != 0 || !(rn < _vnFieldElement::m_Modulus)) return false;
    fe64::mul(scaled, fe64::fromUnsigned(rn), p.z);
    return fe64::equalFlag(scaled, p.x) != 0;
}

bool equal_var(const _vnPt64& a, const _vnPt64& b) {
    const bool aInf = fe64::isZeroFlag(a.z) != 0;
    const bool bInf = fe64::isZeroFlag(b.z) != 0;
    if (aInf || bInf) return aInf && bInf;
    _vnFe64 l, r;
    fe64::mul(l, a.x, b.z);
    fe64::mul(r, b.x, a.z);
    if (fe64::equalFlag(l, r) == 0) return false;
    fe64::mul(l, a.y, b.z);
    fe64::mul(r, b.y, a.z);
    return fe64::equalFlag(l, r) != 0;
}

}  // namespace pt64
}  // namespace vn
