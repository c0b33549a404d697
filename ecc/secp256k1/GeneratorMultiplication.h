#pragma once

#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/Unsigned256.h"

namespace vn {

// k * G from a table of multiples of G built once per process (thread-safe, on first use;
// 64 rows of the eight multiples 1..8 of 16^i G in affine form, 32 KiB).

// Constant time in k: k is reduced modulo n and folded below n/2 by a masked negation, cut
// into 64 signed 4-bit digits, and every digit reads all eight entries of its row and adds
// the one it keeps with the complete formulas (a zero digit adds nothing, through a mask).
//
// In:  k, any 256-bit value (0, n and values above n included).
// Out: out = k * G in projective form (the point at infinity for k = 0 mod n).
void multiplyGenerator(const _vnUnsigned256& k, _vnPt64& out);

// The same product in variable time, for public scalars (verification): zero digits are
// skipped and the entries are read directly.
void multiplyGenerator_var(const _vnUnsigned256& k, _vnPt64& out);

}  // namespace vn
