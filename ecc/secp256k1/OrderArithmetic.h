#pragma once

#include "ecc/secp256k1/Unsigned256.h"

namespace vn {

// x = (x * y) mod n, n the secp256k1 group order. x must be below n; y may be any 256-bit
// value, and may be x itself. 256 fixed rounds whatever the operands.
void multiplyModOrder(_vnUnsigned256& x, const _vnUnsigned256& y);

}  // namespace vn
