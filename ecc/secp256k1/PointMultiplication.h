#pragma once

#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/Unsigned256.h"

namespace vn {

// k * P for a point P of the curve (not the point at infinity), in constant time.
//
// k is reduced modulo n and split by the curve's endomorphism into two signed halves below
// 2^130 (k = k1 + k2 lambda); each half is made odd (adding 1 to an even one, and taking the
// extra point off at the end through a mask) and written as 33 signed odd 4-bit digits, so
// every window adds exactly one odd multiple of P and one of lambda P, each read by scanning
// all eight, with the complete formulas. The same work for every k, 0, n and values above n
// included.
//
// In:  P on the curve; k any 256-bit value.
// Out: out = k * P in projective form (the point at infinity for k = 0 mod n).
void multiplyPointOddWindows(const _vnPt64& P, const _vnUnsigned256& k, _vnPt64& out);

// out = u1 * G + u2 * Q in variable time, for public scalars and a public point (signature
// verification): u1 * G from the generator table; u2 split by the curve's endomorphism into
// two halves of about 128 bits, each a width-5 NAF over the odd multiples of Q and of
// lambda Q, sharing one chain of doublings.
//
// In:  u1, u2 any 256-bit values; Q on the curve (not the point at infinity).
// Out: out, projective.
void multiplyTwo_var(const _vnUnsigned256& u1, const _vnUnsigned256& u2, const _vnPt64& Q,
                     _vnPt64& out);

}  // namespace vn
