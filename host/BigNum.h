#pragma once

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
    // c = mp_montgomery_reduce(a * b): the same result as mp_mul followed by the reduction,
    // formed in one pass when a and b are residues in [0, m). c may be a or b.
    static int mp_mul_montgomery(const mp_int& a, const mp_int& b, const mp_int& m, unsigned rho, mp_int& c);
    // c = mp_montgomery_reduce(a^2), likewise.
    static int mp_sqr_montgomery(const mp_int& a, const mp_int& m, unsigned rho, mp_int& c);

    static bool mp_read_radix(mp_int& a, const char* text, int radix);
    static int mp_count_bits(const mp_int& a);
    static int mp_unsigned_bin_size(const mp_int& a);
    static bool mpint_from_bytes(mp_int& a, const unsigned char* bytes, int len);
    static int mpint_to_bytes(const mp_int& a, unsigned char* out);
    static bool mpint_to_db(const mp_int& a, DataBuffer& out);
    static int mpint_to_ssh_db(const mp_int& a, DataBuffer& out);
    static bool mpint_to_hex_zero_extended(const mp_int& a, unsigned width, StringBuffer& out);
    static bool mpint_to_base64url(const mp_int& a, StringBuffer& out, LogBase& log);
    static void log_mpint(const char* name, const mp_int& a, LogBase& log);
};

}  // namespace vn
