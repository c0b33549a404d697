#pragma once

#include "ecc/generic/EccPoint.h"
#include "host/mp_int.h"

// Internal to the generic engine: the group law on Jacobian points whose coordinates are in
// Montgomery form modulo p. `ma` is null for a = -3 (the faster doubling), otherwise it points
// to the ordinary a reduced mod p. Every routine returns false as soon as a big-integer
// operation fails; the output is then partly written and must not be used.

namespace vn {

// R = 2P; R may be P.
bool pointDouble(EccPoint& P, EccPoint& R, mp_int* ma, mp_int& modulus, unsigned int& rho);
// R = P + Q; R may be P or Q.
bool pointAdd(EccPoint& P, EccPoint& Q, EccPoint& R, mp_int* ma, mp_int& modulus, unsigned int& rho);
// Jacobian Montgomery form to ordinary affine coordinates, in place; false when Z = 0.
bool mapPointBack(EccPoint& P, mp_int& modulus, unsigned int& rho);

}  // namespace vn
