#include "ecc/secp256k1/Field4x64.h"

namespace vn {
namespace fe64 {

namespace {

// r = a^(2^count); count is a constant of the chain, never a secret.
inline void sqrTimes(_vnFe64& r, const _vnFe64& a, unsigned count) {
    sqr(r, a);
    for (unsigned i = 1; i < count; ++i) sqr(r, r);
}

}  // namespace

// p - 2 is 223 ones, a zero, 22 ones and then 0000101101. Runs of ones are built by doubling
// their length (xN = a^(2^N - 1)); the tail is shifted in with the few products it needs.
void invert(_vnFe64& r, const _vnFe64& a) {
    _vnFe64 x2, x3, x6, x9, x11, x22, x44, x88, x176, x220, x223, t;
    sqr(x2, a);
    mul(x2, x2, a);
    sqr(x3, x2);
    mul(x3, x3, a);
    sqrTimes(x6, x3, 3);
    mul(x6, x6, x3);
    sqrTimes(x9, x6, 3);
    mul(x9, x9, x3);
    sqrTimes(x11, x9, 2);
    mul(x11, x11, x2);
    sqrTimes(x22, x11, 11);
    mul(x22, x22, x11);
    sqrTimes(x44, x22, 22);
    mul(x44, x44, x22);
    sqrTimes(x88, x44, 44);
    mul(x88, x88, x44);
    sqrTimes(x176, x88, 88);
    mul(x176, x176, x88);
    sqrTimes(x220, x176, 44);
    mul(x220, x220, x44);
    sqrTimes(x223, x220, 3);
    mul(x223, x223, x3);

    sqrTimes(t, x223, 23);
    mul(t, t, x22);
    sqrTimes(t, t, 5);
    mul(t, t, a);
    sqrTimes(t, t, 3);
    mul(t, t, x2);
    sqrTimes(t, t, 2);
    mul(r, t, a);
}

}  // namespace fe64
}  // namespace vn
