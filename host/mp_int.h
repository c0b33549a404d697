#pragma once
#include <cstdint>

namespace vn {

typedef std::uint32_t mp_digit;  ///< One digit of an mp_int (MP_DIGIT_BIT bits used).
typedef std::uint64_t mp_word;   ///< Holds a product of two digits.

constexpr int MP_DIGIT_BIT = 28;  ///< Bits per digit.
constexpr mp_digit MP_MASK = (mp_digit{1} << MP_DIGIT_BIT) - 1;  ///< A digit's bits.

/// @name Status codes of the big-integer operations: 0 is success.
/// @{
constexpr int MP_OKAY = 0;  ///< Success.
constexpr int MP_MEM = -2;  ///< Memory exhausted.
constexpr int MP_VAL = -3;  ///< Invalid argument (division by zero, no inverse, ...).
/// @}

constexpr int MP_ZPOS = 0;  ///< Sign of zero and positive values.
constexpr int MP_NEG = 1;   ///< Sign of negative values.

/// Digits held inside the object. 2 x 521 bits is 38 digits of 28 bits; a Montgomery
/// reduction of such a product needs one more and Comba columns a little slack. Values up
/// to this size never touch the heap.
constexpr int MP_INLINE_DIGITS = 48;

/// A signed arbitrary-precision integer: 28-bit digits, least significant first. The key's
/// scalar and coordinates are held in these; the arithmetic is internal. Digits are wiped
/// whenever storage is released, because private scalars live in mp_ints. The digit count of
/// a value (its length in 28-bit digits) is visible to timing: the one thing about a private
/// scalar the library's constant-time operations do not hide.
class mp_int {
public:
    /// Zero.
    mp_int();
    /// Wipes the digits.
    ~mp_int();
    mp_int(const mp_int&) = delete;
    mp_int& operator=(const mp_int&) = delete;

    /// Number of used digits (0 for zero).
    int get_digit_count() const { return used; }
    /// Digit i (0 = least significant); 0 for i outside [0, count).
    mp_digit get_digit(int i) const { return (i >= 0 && i < used) ? dp[i] : 0; }
    /// Whether the value is below zero.
    bool isNegative() const { return sign == MP_NEG; }
    /// Whether the value is zero.
    bool isZero() const { return used == 0; }

    /// @name Representation, for the library's arithmetic only; read it through the accessors.
    /// @{
    mp_digit* dp;   ///< The digits: inlineDigits, or a heap block for longer values.
    int used;       ///< Digits in use.
    int alloc;      ///< Digits dp can hold.
    int sign;       ///< MP_ZPOS or MP_NEG.
    mp_digit inlineDigits[MP_INLINE_DIGITS];  ///< Storage of values up to MP_INLINE_DIGITS digits.

    /// Makes room for n digits (keeping the value); MP_OKAY or MP_MEM.
    int grow(int n);
    /// Drops leading zero digits and fixes the sign of zero.
    void clamp();
    /// @}
};

}  // namespace vn
