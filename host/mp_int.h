#pragma once
#include <cstdint>

namespace vn {

typedef std::uint32_t mp_digit;
typedef std::uint64_t mp_word;

constexpr int MP_DIGIT_BIT = 28;
constexpr mp_digit MP_MASK = (mp_digit{1} << MP_DIGIT_BIT) - 1;

// Status codes of the BigNum operations: 0 is success.
constexpr int MP_OKAY = 0;
constexpr int MP_MEM = -2;  // memory exhausted
constexpr int MP_VAL = -3;  // invalid argument (division by zero, no inverse, ...)

constexpr int MP_ZPOS = 0;
constexpr int MP_NEG = 1;

// Digits held inside the object. 2 x 521 bits is 38 digits of 28 bits; a Montgomery
// reduction of such a product needs one more and Comba columns a little slack. Values up
// to this size never touch the heap.
constexpr int MP_INLINE_DIGITS = 48;

// A signed arbitrary-precision integer: 28-bit digits, least significant first. All
// arithmetic lives in BigNum. Digits are wiped whenever storage is released, because private
// scalars live in mp_ints.
class mp_int {
public:
    mp_int();
    ~mp_int();
    mp_int(const mp_int&) = delete;
    mp_int& operator=(const mp_int&) = delete;

    // Number of used digits (0 for zero).
    int get_digit_count() const { return used; }
    // Digit i (0 = least significant); 0 for i outside [0, count).
    mp_digit get_digit(int i) const { return (i >= 0 && i < used) ? dp[i] : 0; }
    bool isNegative() const { return sign == MP_NEG; }
    bool isZero() const { return used == 0; }

    // Representation, for BigNum's code only.
    mp_digit* dp;
    int used;
    int alloc;
    int sign;
    mp_digit inlineDigits[MP_INLINE_DIGITS];

    // Makes room for n digits (keeping the value); MP_OKAY or MP_MEM.
    int grow(int n);
    // Drops leading zero digits and fixes the sign of zero.
    void clamp();
};

}  // namespace vn
