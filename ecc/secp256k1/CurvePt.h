#pragma once
#include <cstdint>

#include "ecc/secp256k1/FieldElement.h"
#include "ecc/secp256k1/Unsigned256.h"

namespace vn {

// A point of secp256k1 (y^2 = x^3 + 7) in standard projective coordinates: the affine
// point is (X/Z, Y/Z); Z = 0 is the point at infinity, canonically (0, 1, 0). Plain data.
// The arithmetic runs the same field operations whatever the values, so a secret scalar
// given to multiplyPt shows in neither timing nor memory access.
class _vnCurvePt {
public:
    // The zero point (0, 1, 0).
    constexpr _vnCurvePt() : x(), y(kOneHex), z() {}
    // The affine point (x, y), z = 1; no curve check.
    _vnCurvePt(const _vnFieldElement& xa, const _vnFieldElement& ya);
    // Two texts of 64 hexadecimal digits, not reduced; z = 1.
    constexpr _vnCurvePt(const char* xHex, const char* yHex)
        : x(xHex), y(yHex), z(kOneHex) {}
    constexpr _vnCurvePt(const _vnFieldElement& xp, const _vnFieldElement& yp,
                         const _vnFieldElement& zp)
        : x(xp), y(yp), z(zp) {}

    void addPt(const _vnCurvePt& other);
    void doublePt();
    // this = k * this for any 256-bit k; the result is projective.
    void multiplyPt(const _vnUnsigned256& k);
    // Z = 1, or the canonical (0, 1, 0) for the zero point.
    void normalizePt();
    bool isZero() const { return isZeroFlag() != 0; }
    // x = 0, y != 0, z = 0. All three tests are evaluated and combined with masks rather
    // than short-circuited, so the answer costs the same whatever the coordinates.
    std::uint32_t isZeroFlag() const {
        return x.isZeroFlag() & (1u ^ y.isZeroFlag()) & z.isZeroFlag();
    }
    // On the curve and not the zero point; expects a normalized point.
    bool isOnCurve() const;
    void replace(const _vnCurvePt& other, std::uint32_t flag) {
        x.replace(other.x, flag);
        y.replace(other.y, flag);
        z.replace(other.z, flag);
    }
    // Equality of representations, not of affine points: normalize first.
    bool operator==(const _vnCurvePt& o) const;
    bool operator!=(const _vnCurvePt& o) const { return !(*this == o); }
    // 33 bytes: 0x02 or 0x03 by the parity of y, then x big-endian. Normalized, non-zero.
    void toCompressedPoint(unsigned char* out) const;

    _vnFieldElement x;
    _vnFieldElement y;
    _vnFieldElement z;

    // Curve constants, defined in EngineConstants.cpp.
    static const _vnFieldElement m_s_fiZero;
    static const _vnFieldElement m_s_fiOne;
    static const _vnFieldElement m_s_A;
    static const _vnFieldElement m_s_B;
    static const _vnUnsigned256 m_s_order;
    static const _vnCurvePt m_s_G;
    static const _vnCurvePt m_s_Zero;

private:
    static constexpr const char* kOneHex =
        "0000000000000000000000000000000000000000000000000000000000000001";
};

}  // namespace vn
