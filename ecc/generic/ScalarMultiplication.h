#pragma once

#include "ecc/generic/EccPoint.h"
#include "host/LogBase.h"
#include "host/mp_int.h"

namespace vn {

// R = k*G in affine coordinates (z = 1) for any base G (affine, or Jacobian in ordinary form)
// and the curve of `modulus` and `ma` (null for a = -3, else the ordinary a), set up afresh on
// every call. Constant time in k: signed fixed windows over the field's width (wider only for
// a k wider than the field), complete additions. R may be G. False for k = 0 and whenever the
// product is the point at infinity or a step fails. The key's own operations go through the
// per-curve engine of CurveEngine.h instead, which keeps its setup between calls.
bool pointMult_tmr(mp_int& k, EccPoint& G, EccPoint& R, mp_int* ma, mp_int& modulus, LogBase& log);

}  // namespace vn
