#pragma once

#include <cstdint>

#include "host/mp_int.h"

namespace vn {

class DataBuffer;
class StringBuffer;
class LogBase;

// Arbitrary-precision arithmetic on mp_int. Every arithmetic operation returns 0 (MP_OKAY)
// on success and a non-zero status on failure; outputs may be the same object as inputs.
// mp_read_radix, mpint_from_bytes, mpint_to_db, mpint_to_hex_zero_extended and
// mpint_to_base64url return true on success.
class BigNum {
public:
    static int mp_copy(const mp_int& a, mp_int& b);
    static void mp_zero(mp_int& a);
    static void mp_set(mp_int& a, unsigned d);
    static int mp_set_int(mp_int& a, unsigned d);

    static int mp_cmp(const mp_int& a, const mp_int& b);
    static int mp_cmp_d(const mp_int& a, unsigned d);
    // Compares magnitudes, ignoring signs.
    static int mp_cmp_mag(const mp_int& a, const mp_int& b);

    static int mp_add(const mp_int& a, const mp_int& b, mp_int& c);
    static int mp_sub(const mp_int& a, const mp_int& b, mp_int& c);
    static int mp_mul(const mp_int& a, const mp_int& b, mp_int& c);
    static int mp_sqr(const mp_int& a, mp_int& b);
    static int mp_div_2(const mp_int& a, mp_int& b);
    // c = a mod m in [0, m) for m > 0, negative a included.
    static int mp_mod(const mp_int& a, const mp_int& m, mp_int& c);
    // q = floor(a / b), r = a - q*b (truncated toward zero for negative a); either may be null.
    static int mp_div(const mp_int& a, const mp_int& b, mp_int* q, mp_int* r);
    static int mp_mulmod(const mp_int& a, const mp_int& b, const mp_int& m, mp_int& d);
    static int mp_invmod(const mp_int& a, const mp_int& m, mp_int& c);

    static int mp_montgomery_setup(const mp_int& m, unsigned& rho);
    static int mp_montgomery_normalization(mp_int& a, const mp_int& m);
    static int mp_montgomery_reduce(mp_int& a, const mp_int& m, unsigned rho);

    static bool mp_read_radix(mp_int& a, const char* text, int radix);
    static int mp_count_bits(const mp_int& a);
    static int mp_unsigned_bin_size(const mp_int& a);
    static bool mpint_from_bytes(mp_int& a, const unsigned char* bytes, int len);
    static int mpint_to_bytes(const mp_int& a, unsigned char* out);
    static bool mpint_to_db(const mp_int& a, DataBuffer& out);
    static int mpint_to_ssh_db(const mp_int& a, DataBuffer& out);
    // Unsigned 64-bit limbs, least significant first: the fixed-width form the generic
    // engine computes in. mpint_to_limbs fails (false) for a negative a or one that needs
    // more than `limbs` limbs; both functions handle limbs in [1, 64].
    static bool mpint_to_limbs(const mp_int& a, std::uint64_t* out, int limbs);
    static int mpint_from_limbs(mp_int& a, const std::uint64_t* in, int limbs);
    static bool mpint_to_hex_zero_extended(const mp_int& a, unsigned width, StringBuffer& out);
    static bool mpint_to_base64url(const mp_int& a, StringBuffer& out, LogBase& log);
    static void log_mpint(const char* name, const mp_int& a, LogBase& log);
};

}  // namespace vn
