#pragma once

#include "ecc/generic/EccPoint.h"
#include "host/LogBase.h"
#include "host/mp_int.h"

namespace vn {

// R = k*G in affine coordinates (z = 1), by a Montgomery ladder: after the leading 1 bit every
// bit costs one addition and one doubling whatever its value. R may be G. `ma` is null for
// a = -3, else the ordinary a. False for k = 0 (there is no point at infinity to return) and
// when any step fails.
bool pointMult_tmr(mp_int& k, EccPoint& G, EccPoint& R, mp_int* ma, mp_int& modulus, LogBase& log);

}  // namespace vn
