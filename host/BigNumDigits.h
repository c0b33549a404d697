#pragma once
// Digit-array helpers shared by the BigNum sources. Not part of the public interface.

#include <cstddef>
#include <new>
#include <utility>

#include "host/SecureWipe.h"
#include "host/mp_int.h"

namespace vn {
namespace mpd {

// Column (Comba) loops sum products of two 28-bit digits, each below 2^56, in one 64-bit
// accumulator. With k products plus the carry from the previous column (below 2^36) and
// one more digit, the sum stays below 2^64 as long as k <= 255, so no column needs carry
// handling inside its loop. Longer columns fall back to row-wise loops.
constexpr int kMaxCombaColumn = 255;

inline mp_digit lo28(mp_word w) { return static_cast<mp_digit>(w) & MP_MASK; }

// sum of a[Lo + i] * b[K - Lo - i] over the index pack, expanded at compile time: the
// unrolled kernels are built from these, without loop pragmas the compilers may refuse.
template <int K, int Lo, std::size_t... I>
inline mp_word dotColumn(const mp_digit* a, const mp_digit* b, std::index_sequence<I...>) {
    return (mp_word{0} + ... +
            (mp_word{a[Lo + static_cast<int>(I)]} * b[K - Lo - static_cast<int>(I)]));
}
template <int K, int Lo, int Hi>
inline mp_word dot(const mp_digit* a, const mp_digit* b) {
    return dotColumn<K, Lo>(a, b, std::make_index_sequence<static_cast<std::size_t>(Hi - Lo)>{});
}

// Working storage for one operation: on the stack for the sizes the curves need, on the
// heap beyond. What it held may be derived from a secret, so it is wiped on the way out.
template <typename T, std::size_t N>
class Scratch {
public:
    Scratch() = default;
    ~Scratch() {
        if (m_p != nullptr) secureWipe(m_p, m_n * sizeof(T));
        delete[] m_heap;
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    // Room for n elements (contents undefined). False when memory is exhausted.
    bool reserve(std::size_t n) {
        if (n <= N) {
            m_p = m_local;
        } else {
            m_heap = new (std::nothrow) T[n];
            if (m_heap == nullptr) return false;
            m_p = m_heap;
        }
        m_n = n;
        return true;
    }
    T* data() { return m_p; }
    T& operator[](std::size_t i) { return m_p[i]; }

private:
    T m_local[N];
    T* m_heap = nullptr;
    T* m_p = nullptr;
    std::size_t m_n = 0;
};

using DigitScratch = Scratch<mp_digit, 2 * MP_INLINE_DIGITS + 4>;

inline std::size_t sz(int n) { return static_cast<std::size_t>(n); }

// Magnitude comparison of digit arrays without leading zeros.
int cmpMag(const mp_digit* a, int na, const mp_digit* b, int nb);
// out = a + b for na >= nb; out has room for na + 1 digits; returns the digits written.
// out may be a or b.
int addMag(const mp_digit* a, int na, const mp_digit* b, int nb, mp_digit* out);
// out = a - b for a >= b (na >= nb); writes na digits; out may be a or b.
void subMag(const mp_digit* a, int na, const mp_digit* b, int nb, mp_digit* out);
// out[0 .. na+nb) = a * b; out must not overlap a or b.
void mulDigits(const mp_digit* a, int na, const mp_digit* b, int nb, mp_digit* out);
// out[0 .. 2n) = a^2; out must not overlap a.
void sqrDigits(const mp_digit* a, int n, mp_digit* out);
// Knuth division of u (nu digits) by v (nv digits, top digit non-zero, nv <= nu).
// q receives nu - nv + 1 digits, r receives nv digits; either may be null. Neither may
// overlap u or v. False when memory is exhausted.
bool divDigits(const mp_digit* u, int nu, const mp_digit* v, int nv, mp_digit* q, mp_digit* r);
// Number of digits without leading zeros.
inline int trimmed(const mp_digit* a, int n) {
    while (n > 0 && a[n - 1] == 0) --n;
    return n;
}

// Replaces a's value by the n digits at src (which must not be a's own storage) and sign.
int assign(mp_int& a, const mp_digit* src, int n, int sign);

}  // namespace mpd
}  // namespace vn
