#pragma once

#include "ecc/secp256k1/Unsigned256.h"
#include "host/mp_int.h"

namespace vn {

// The bridge between the key's host integers and the engine's fixed-width integers.

// False, leaving out untouched, when a (its magnitude) needs more than 256 bits.
bool mp_int_to_uint256(const mp_int& a, _vnUnsigned256& out);

void uint256_to_mp_int(const _vnUnsigned256& a, mp_int& out);

}  // namespace vn
