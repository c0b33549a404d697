#include "ecc/secp256k1/Unsigned256.h"

#include "ecc/secp256k1/ConstantTime.h"
#include "ecc/secp256k1/FieldElement.h"

namespace vn {

using std::uint32_t;
using std::uint64_t;

_vnUnsigned256::_vnUnsigned256(const unsigned char* bytes) : words{} {
    for (unsigned i = 0; i < 8; ++i) {
        const unsigned char* b = bytes + 28 - 4 * i;
        words[i] = (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) |
                   uint32_t{b[3]};
    }
}

_vnUnsigned256::_vnUnsigned256(const _vnFieldElement& fe) : _vnUnsigned256(fe.m_value) {}

void _vnUnsigned256::getBigEndian(unsigned char* out) const {
    for (unsigned i = 0; i < 8; ++i) {
        unsigned char* b = out + 28 - 4 * i;
        b[0] = static_cast<unsigned char>(words[i] >> 24);
        b[1] = static_cast<unsigned char>(words[i] >> 16);
        b[2] = static_cast<unsigned char>(words[i] >> 8);
        b[3] = static_cast<unsigned char>(words[i]);
    }
}

// Binary extended Euclid with a fixed 512 rounds (twice the width, enough for y to reach
// zero from any start) and every step masked. Invariants: a*this = x and b*this = y modulo
// the modulus, x odd; when y reaches zero x = gcd = 1 and a is the inverse.
//
// The round is kept as separate word loops, inlined: x, y and a, b form two carry chains of
// their own that the processor overlaps. Fusing the loops (both differences at once, one
// pass for all four values) measured slower, as did running the x, y rounds first and
// replaying their decisions on a, b, which serialises the two chains.
void _vnUnsigned256::reciprocal(const _vnUnsigned256& modulus) {
    _vnUnsigned256 x = modulus;
    _vnUnsigned256 y = *this;
    _vnUnsigned256 a = s_ZERO;
    _vnUnsigned256 b = s_ONE;
    // (modulus + 1) / 2: added to floor(b / 2) it halves an odd b modulo the modulus.
    _vnUnsigned256 half = modulus;
    const uint32_t carry = half.add(s_ONE, 1);
    half.shiftRight1(1);
    half.words[7] |= carry << 31;

    for (unsigned round = 0; round < 512; ++round) {
        const uint32_t yEven = 1u ^ (y.words[0] & 1u);
        const uint32_t bOdd = b.words[0] & 1u;
        y.shiftRight1(yEven);
        b.shiftRight1(yEven);
        b.add(half, yEven & bOdd);

        const uint32_t doIt = y.words[0] & 1u;
        const uint32_t doSwap = doIt & y.lessFlag(x);
        x.swap(y, doSwap);
        y.subtract(x, doIt);
        a.swap(b, doSwap);
        const uint32_t borrow = b.subtract(a, doIt);
        b.add(modulus, borrow);
    }
    replace(a, 1u ^ isZeroFlag());
}

}  // namespace vn
