#include "host/BigNum.h"
#include "host/BigNumDigits.h"

namespace vn {
namespace mpd {

// Row-wise product for operands too long for a single column accumulator.
static void mulRows(const mp_digit* a, int na, const mp_digit* b, int nb, mp_digit* out) {
    for (int i = 0; i < na + nb; ++i) out[i] = 0;
    for (int i = 0; i < na; ++i) {
        mp_word carry = 0;
        mp_word ai = a[i];
        for (int j = 0; j < nb; ++j) {
            mp_word t = out[i + j] + ai * b[j] + carry;
            out[i + j] = lo28(t);
            carry = t >> MP_DIGIT_BIT;
        }
        out[i + nb] = static_cast<mp_digit>(carry);
    }
}

// Fully unrolled kernels for the operand lengths of the curve fields (160 to 521 bits):
// every column is a fixed sum, so there is no loop control and the products of
// neighbouring columns can be scheduled together.
template <int N, int K>
inline void mulColumn(const mp_digit* a, const mp_digit* b, mp_digit* out, mp_word& acc) {
    constexpr int lo = K < N ? 0 : K - N + 1;
    constexpr int hi = K < N ? K : N - 1;
    acc += dot<K, lo, hi + 1>(a, b);
    out[K] = lo28(acc);
    acc >>= MP_DIGIT_BIT;
}

template <int N, std::size_t... K>
inline void mulColumns(const mp_digit* a, const mp_digit* b, mp_digit* out,
                       std::index_sequence<K...>) {
    mp_word acc = 0;
    (mulColumn<N, static_cast<int>(K)>(a, b, out, acc), ...);
    out[2 * N - 1] = static_cast<mp_digit>(acc);
}

template <int N>
void mulFixed(const mp_digit* a, const mp_digit* b, mp_digit* out) {
    mulColumns<N>(a, b, out, std::make_index_sequence<static_cast<std::size_t>(2 * N - 1)>{});
}

template <int N, int K>
inline void sqrColumn(const mp_digit* a, mp_digit* out, mp_word& acc) {
    constexpr int lo = K < N ? 0 : K - N + 1;
    acc += dot<K, lo, (K + 1) / 2>(a, a) << 1;
    if constexpr ((K & 1) == 0) acc += mp_word{a[K / 2]} * a[K / 2];
    out[K] = lo28(acc);
    acc >>= MP_DIGIT_BIT;
}

template <int N, std::size_t... K>
inline void sqrColumns(const mp_digit* a, mp_digit* out, std::index_sequence<K...>) {
    mp_word acc = 0;
    (sqrColumn<N, static_cast<int>(K)>(a, out, acc), ...);
    out[2 * N - 1] = static_cast<mp_digit>(acc);
}

template <int N>
void sqrFixed(const mp_digit* a, mp_digit* out) {
    sqrColumns<N>(a, out, std::make_index_sequence<static_cast<std::size_t>(2 * N - 1)>{});
}

using MulKernel = void (*)(const mp_digit*, const mp_digit*, mp_digit*);
using SqrKernel = void (*)(const mp_digit*, mp_digit*);

constexpr int kMaxFixed = 19;
const MulKernel kMulKernels[kMaxFixed + 1] = {
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, mulFixed<6>, mulFixed<7>,
    mulFixed<8>, nullptr, mulFixed<10>, nullptr, mulFixed<12>, nullptr, mulFixed<14>,
    nullptr, nullptr, nullptr, nullptr, mulFixed<19>};
const SqrKernel kSqrKernels[kMaxFixed + 1] = {
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, sqrFixed<6>, sqrFixed<7>,
    sqrFixed<8>, nullptr, sqrFixed<10>, nullptr, sqrFixed<12>, nullptr, sqrFixed<14>,
    nullptr, nullptr, nullptr, nullptr, sqrFixed<19>};

void mulDigits(const mp_digit* a, int na, const mp_digit* b, int nb, mp_digit* out) {
    if (na == nb && na <= kMaxFixed && kMulKernels[na] != nullptr) {
        kMulKernels[na](a, b, out);
        return;
    }
    if (na < nb) {
        const mp_digit* t = a;
        a = b;
        b = t;
        int tn = na;
        na = nb;
        nb = tn;
    }
    if (nb == 0) {
        for (int i = 0; i < na; ++i) out[i] = 0;
        return;
    }
    if (nb > kMaxCombaColumn) {
        mulRows(a, na, b, nb, out);
        return;
    }
    // Column k sums a[i] * b[k - i]; no column has more than nb products.
    mp_word acc = 0;
    const int last = na + nb - 1;
    for (int k = 0; k < last; ++k) {
        int lo = k < nb ? 0 : k - nb + 1;
        int hi = k < na ? k : na - 1;
        const mp_digit* pa = a + lo;
        const mp_digit* pb = b + (k - lo);
        for (int i = 0, cnt = hi - lo + 1; i < cnt; ++i) {
            acc += mp_word{pa[i]} * pb[-i];
        }
        out[k] = lo28(acc);
        acc >>= MP_DIGIT_BIT;
    }
    out[last] = static_cast<mp_digit>(acc);
}

void sqrDigits(const mp_digit* a, int n, mp_digit* out) {
    if (n <= kMaxFixed && kSqrKernels[n] != nullptr) {
        kSqrKernels[n](a, out);
        return;
    }
    if (n > kMaxCombaColumn) {
        mulRows(a, n, a, n, out);
        return;
    }
    // Each column adds the cross products a[i]*a[j] (i < j) once, doubles them, then adds
    // the square term; the doubled sum counts as no more products than the column length.
    mp_word acc = 0;
    const int last = 2 * n - 1;
    for (int k = 0; k < last; ++k) {
        int lo = k < n ? 0 : k - n + 1;
        int end = (k + 1) / 2;  // i < end means i < k - i
        mp_word cross = 0;
        for (int i = lo; i < end; ++i) {
            cross += mp_word{a[i]} * a[k - i];
        }
        acc += cross << 1;
        if ((k & 1) == 0) acc += mp_word{a[k / 2]} * a[k / 2];
        out[k] = lo28(acc);
        acc >>= MP_DIGIT_BIT;
    }
    out[last] = static_cast<mp_digit>(acc);
}

}  // namespace mpd

int BigNum::mp_mul(const mp_int& a, const mp_int& b, mp_int& c) {
    int na = a.used, nb = b.used;
    if (na == 0 || nb == 0) {
        c.used = 0;
        c.sign = MP_ZPOS;
        return MP_OKAY;
    }
    int sign = a.sign == b.sign ? MP_ZPOS : MP_NEG;
    int n = na + nb;
    if (&c != &a && &c != &b) {
        int err = c.grow(n);
        if (err != MP_OKAY) return err;
        if (&a == &b) {
            mpd::sqrDigits(a.dp, na, c.dp);
        } else {
            mpd::mulDigits(a.dp, na, b.dp, nb, c.dp);
        }
        c.used = n;
        c.sign = sign;
        c.clamp();
        return MP_OKAY;
    }
    // c is a or b, so the product is formed aside and copied in.
    mpd::DigitScratch t;
    if (!t.reserve(mpd::sz(n))) return MP_MEM;
    if (&a == &b) {
        mpd::sqrDigits(a.dp, na, t.data());
    } else {
        mpd::mulDigits(a.dp, na, b.dp, nb, t.data());
    }
    return mpd::assign(c, t.data(), n, sign);
}

int BigNum::mp_sqr(const mp_int& a, mp_int& b) {
    int n = a.used;
    if (n == 0) {
        b.used = 0;
        b.sign = MP_ZPOS;
        return MP_OKAY;
    }
    if (&a != &b) {
        int err = b.grow(2 * n);
        if (err != MP_OKAY) return err;
        mpd::sqrDigits(a.dp, n, b.dp);
        b.used = 2 * n;
        b.sign = MP_ZPOS;
        b.clamp();
        return MP_OKAY;
    }
    mpd::DigitScratch t;
    if (!t.reserve(mpd::sz(2 * n))) return MP_MEM;
    mpd::sqrDigits(a.dp, n, t.data());
    return mpd::assign(b, t.data(), 2 * n, MP_ZPOS);
}

}  // namespace vn
