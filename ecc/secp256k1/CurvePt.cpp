#include "ecc/secp256k1/CurvePt.h"

#include "ecc/secp256k1/ConstantTime.h"

namespace vn {

using std::uint32_t;

_vnCurvePt::_vnCurvePt(const _vnFieldElement& xa, const _vnFieldElement& ya)
    : x(xa), y(ya), z(m_s_fiOne) {}

bool _vnCurvePt::operator==(const _vnCurvePt& o) const {
    return (x.equalFlag(o.x) & y.equalFlag(o.y) & z.equalFlag(o.z)) != 0;
}

// Doubling for a = 0. The formulas always run to the end; a zero input or y = 0 (a point of
// order two) is patched in afterwards by a masked copy of the zero point. Both tests are
// evaluated in full and OR-ed as flags, not short-circuited.
void _vnCurvePt::doublePt() {
    const uint32_t resultIsZero = isZeroFlag() | y.isZeroFlag();

    // Copies are taken a few operations after their source was written, not straight
    // after: a copy reads whole vectors, which cannot be forwarded from the word stores
    // still in flight and would wait for them.
    _vnFieldElement xSq;
    xSq.square(x);
    _vnFieldElement s;  // s = 2yz
    s.multiply(z, y);
    s.multiply2();
    _vnFieldElement t;  // t = 2sxy = 4xy^2z
    t.multiply(s, y);
    t.multiply(x);
    t.multiply2();
    _vnFieldElement w = xSq;  // w = 3x^2
    w.multiply2();
    w.add(xSq);
    _vnFieldElement u = t;  // u = 8xy^2z
    u.multiply2();
    _vnFieldElement h;  // h = w^2 - u
    h.square(w);
    h.subtract(u);

    _vnFieldElement r;
    r.square(s);
    _vnFieldElement ySq;
    ySq.square(y);

    x.multiply(h, s);  // x' = hs
    z.multiply(r, s);  // z' = s^3 = 8y^3z^3
    r.multiply(ySq);   // r = 8y^4z^2
    r.multiply2();
    t.subtract(h);  // y' = w(t - h) - r
    y.multiply(w, t);
    y.subtract(r);

    replace(m_s_Zero, resultIsZero);
}

// General projective addition; the special cases (a zero operand, equal points, opposite
// points) are computed alongside and selected through masks, never by branching.
void _vnCurvePt::addPt(const _vnCurvePt& other) {
    const uint32_t thisZero = isZeroFlag();
    const uint32_t otherZero = other.isZeroFlag();
    replace(other, thisZero);

    _vnFieldElement xa, xb, ya, yb;
    xa.multiply(x, other.z);
    xb.multiply(other.x, z);
    ya.multiply(y, other.z);
    yb.multiply(other.y, z);
    const uint32_t sameX = xa.equalFlag(xb);
    const uint32_t sameY = ya.equalFlag(yb);

    _vnCurvePt twice = *this;
    twice.doublePt();

    _vnFieldElement u = xa;
    u.subtract(xb);
    _vnFieldElement v = ya;
    v.subtract(yb);
    _vnFieldElement w, uSq, uCube;
    w.multiply(z, other.z);
    uSq.square(u);
    uCube.multiply(uSq, u);

    // r = v^2 w - u^2 (xa + xb)
    _vnFieldElement r;
    r.square(v);
    r.multiply(w);
    _vnFieldElement sum = xa;
    sum.add(xb);
    sum.multiply(uSq);
    r.subtract(sum);

    _vnFieldElement nx, nz, ny, yaCube;
    nx.multiply(u, r);
    nz.multiply(w, uCube);
    ny.multiply(xa, uSq);  // v (xa u^2 - r) - ya u^3
    ny.subtract(r);
    ny.multiply(v);
    yaCube.multiply(ya, uCube);
    ny.subtract(yaCube);

    const uint32_t keep = thisZero | otherZero | sameX;
    x.replace(nx, 1u ^ keep);
    y.replace(ny, 1u ^ keep);
    z.replace(nz, 1u ^ keep);

    const uint32_t bothFinite = (1u ^ thisZero) & (1u ^ otherZero);
    replace(m_s_Zero, bothFinite & sameX & (1u ^ sameY));
    replace(twice, bothFinite & sameX & sameY);
}

// Fixed 4-bit windows from the top. Every window adds a table entry (the zero point for a
// zero digit) and the entry is fetched by reading all sixteen and keeping one through a
// mask, so neither the operation sequence nor the addresses touched depend on k.
void _vnCurvePt::multiplyPt(const _vnUnsigned256& k) {
    _vnCurvePt table[16];
    table[0] = m_s_Zero;
    table[1] = *this;
    table[2] = *this;
    table[2].doublePt();
    for (unsigned j = 3; j < 16; ++j) {
        table[j] = table[j - 1];
        table[j].addPt(*this);
    }

    *this = m_s_Zero;
    for (int i = 252; i >= 0; i -= 4) {
        const unsigned pos = static_cast<unsigned>(i);
        const uint32_t digit = (k.words[pos / 32] >> (pos % 32)) & 15u;
        _vnCurvePt selected = m_s_Zero;
        for (uint32_t j = 0; j < 16; ++j) {
            selected.replace(table[j], ct::isEqual(digit, j));
        }
        addPt(selected);
        if (i != 0) {
            doublePt();
            doublePt();
            doublePt();
            doublePt();
        }
    }
}

// Divides by Z on a copy and keeps the copy only for a finite point. A zero point instead
// keeps z = 0 and has x, y flattened to 0/1, which turns every zero point the engine
// produces (x = 0, y != 0) into the canonical (0, 1, 0).
void _vnCurvePt::normalizePt() {
    _vnCurvePt copy = *this;
    _vnFieldElement inv = copy.z;
    inv.reciprocal();
    copy.x.multiply(inv);
    copy.y.multiply(inv);
    copy.z = m_s_fiOne;

    const uint32_t xZero = x.isZeroFlag();
    const uint32_t yZero = y.isZeroFlag();
    x.replace(m_s_fiOne, 1u ^ xZero);
    y.replace(m_s_fiOne, 1u ^ yZero);
    replace(copy, 1u ^ z.isZeroFlag());
}

bool _vnCurvePt::isOnCurve() const {
    _vnFieldElement lhs = y;
    lhs.square();
    _vnFieldElement rhs = x;
    rhs.square();
    rhs.add(m_s_A);
    rhs.multiply(x);
    rhs.add(m_s_B);
    return (lhs.equalFlag(rhs) & (1u ^ isZeroFlag())) != 0;
}

void _vnCurvePt::toCompressedPoint(unsigned char* out) const {
    out[0] = static_cast<unsigned char>(0x02u | y.lowBit());
    const _vnUnsigned256 xi(x);
    xi.getBigEndian(out + 1);
}

}  // namespace vn
