#include "ecc/secp256k1/OrderArithmetic.h"

#include "ecc/secp256k1/CurvePt.h"

namespace vn {

using std::uint32_t;

// Double-and-add from the top bit of y, reducing after every step. The product stays below
// n, so each doubling and each addition is below 2n and one masked subtraction of n, taken
// when the step carried out of 256 bits or landed at or above n, restores it. Every round
// does all of the work; only masks depend on the bits of y.
void multiplyModOrder(_vnUnsigned256& x, const _vnUnsigned256& y) {
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;
    const _vnUnsigned256 a = x;  // read once: y may be the same object as x
    _vnUnsigned256 product = s_ZERO;
    for (int i = 255; i >= 0; --i) {
        uint32_t cy = product.shiftLeft1();
        product.subtract(n, cy | (1u ^ product.lessFlag(n)));
        cy = product.add(a, y.bit(static_cast<unsigned>(i)));
        product.subtract(n, cy | (1u ^ product.lessFlag(n)));
    }
    x = product;
}

}  // namespace vn
