#pragma once

#include "ecc/secp256k1/Unsigned256.h"

namespace vn {

// Arithmetic modulo the group order n on four 64-bit limbs through Montgomery products, for
// the signer's k^-1 and s. The same results as multiplyModOrder and reciprocal(n), which run
// one bit per round; these run one 64-bit word per round. Constant time: the exponent of the
// inversion is the public n - 2, and every conditional subtraction is masked.

// x = (x * y) mod n. x below n; y any 256-bit value; y may be x itself.
void multiplyModOrderMont(_vnUnsigned256& x, const _vnUnsigned256& y);

// x = x^(n-2) mod n = x^-1 mod n for x in [1, n-1]; 0 stays 0. x must be below n.
void reciprocalModOrderMont(_vnUnsigned256& x);

// The signature's s before the low-s choice: s = k^-1 (e + r d) mod n.
//
// In:  k in [1, n-1]; r below n; d and e any 256-bit values (e is the digest unreduced).
// Out: s below n. Every intermediate holding secret material is wiped.
void signatureS(const _vnUnsigned256& k, const _vnUnsigned256& d, const _vnUnsigned256& r,
                const _vnUnsigned256& e, _vnUnsigned256& s);

}  // namespace vn
