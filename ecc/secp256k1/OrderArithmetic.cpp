#include "ecc/secp256k1/OrderArithmetic.h"

#include "ecc/secp256k1/ConstantTime.h"
#include "ecc/secp256k1/CurvePt.h"

namespace vn {

using std::int64_t;
using std::uint32_t;
using std::uint64_t;

namespace {

// w -= n when the value, with carry bit cy above it, is at least n. The borrow of the trial
// subtraction is the comparison w < n, so one pass compares and subtracts.
inline void subtractOrderOnce(uint32_t w[8], const uint32_t n[8], uint32_t cy) {
    uint32_t t[8];
    uint32_t borrow = 0;
#pragma GCC unroll 8
    for (unsigned i = 0; i < 8; ++i) {
        const uint64_t d = uint64_t{w[i]} - n[i] - borrow;
        t[i] = static_cast<uint32_t>(d);
        borrow = static_cast<uint32_t>(d >> 63);
    }
    const uint32_t m = ct::mask(cy | (1u ^ borrow));
#pragma GCC unroll 8
    for (unsigned i = 0; i < 8; ++i) w[i] = (t[i] & m) | (w[i] & ~m);
}

}  // namespace

// Double-and-add from the top bit of y, reducing after every step. The product stays below
// n, so each doubling and each addition is below 2n and one masked subtraction of n, taken
// when the step carried out of 256 bits or landed at or above n, restores it. Every round
// does all of the work; only masks depend on the bits of y.
void multiplyModOrder(_vnUnsigned256& x, const _vnUnsigned256& y) {
    const uint32_t* n = _vnCurvePt::m_s_order.words;
    uint32_t a[8];  // read once: y may be the same object as x
    uint32_t product[8] = {};
    for (unsigned i = 0; i < 8; ++i) a[i] = x.words[i];
    for (int i = 255; i >= 0; --i) {
        const uint32_t cy = product[7] >> 31;
#pragma GCC unroll 8
        for (unsigned j = 7; j > 0; --j) product[j] = (product[j] << 1) | (product[j - 1] >> 31);
        product[0] <<= 1;
        subtractOrderOnce(product, n, cy);

        // The sum and the sum less n side by side, so that the comparison with n does not
        // wait for the sum: the sum less n is kept exactly when it is not negative, i.e.
        // when the sum carried out of 256 bits or is at least n.
        const uint32_t m = ct::mask(y.bit(static_cast<unsigned>(i)));
        uint32_t sum[8], less[8];
        uint64_t acc = 0;
        int64_t sacc = 0;
#pragma GCC unroll 8
        for (unsigned j = 0; j < 8; ++j) {
            const uint64_t s = uint64_t{product[j]} + (a[j] & m);
            acc += s;
            sum[j] = static_cast<uint32_t>(acc);
            acc >>= 32;
            sacc += static_cast<int64_t>(s) - static_cast<int64_t>(n[j]);
            less[j] = static_cast<uint32_t>(static_cast<uint64_t>(sacc));
            sacc >>= 32;  // arithmetic: the borrow stays exact
        }
        const uint32_t keep = ct::mask(1u ^ static_cast<uint32_t>(static_cast<uint64_t>(sacc) >> 63));
#pragma GCC unroll 8
        for (unsigned j = 0; j < 8; ++j) product[j] = (less[j] & keep) | (sum[j] & ~keep);
    }
    for (unsigned i = 0; i < 8; ++i) x.words[i] = product[i];
}

}  // namespace vn
