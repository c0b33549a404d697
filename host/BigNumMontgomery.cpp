#include "host/BigNum.h"
#include "host/BigNumDigits.h"

namespace vn {

int BigNum::mp_montgomery_setup(const mp_int& m, unsigned& rho) {
    if (m.used == 0 || (m.dp[0] & 1) == 0) return MP_VAL;
    // Newton iteration x <- x(2 - m0 x) doubles the number of correct low bits; m0 is its
    // own inverse mod 8, so four steps give 48 > 28 bits (computed mod 2^32).
    const mp_digit m0 = m.dp[0];
    mp_digit x = m0;
    for (int i = 0; i < 4; ++i) x *= 2u - m0 * x;
    rho = (0u - x) & MP_MASK;
    return MP_OKAY;
}

int BigNum::mp_montgomery_normalization(mp_int& a, const mp_int& m) {
    if (m.used == 0 || m.sign == MP_NEG) return MP_VAL;
    // R = 2^(28 * digits of m), reduced by a division: this runs once per scalar
    // multiplication, not per field operation.
    mp_int r;
    int err = r.grow(m.used + 1);
    if (err != MP_OKAY) return err;
    for (int i = 0; i < m.used; ++i) r.dp[i] = 0;
    r.dp[m.used] = 1;
    r.used = m.used + 1;
    return mp_mod(r, m, a);
}

// Row-wise reduction for moduli too long for one column accumulator: each row adds
// q*m*2^(28i) and carries at once, so every step stays far below 2^64. a has been grown and
// zero-filled through digit width by the caller.
static int reduceRows(mp_int& a, const mp_int& m, unsigned rho, int width) {
    const int n = m.used;
    mp_digit* x = a.dp;
    const mp_digit r = rho & MP_MASK;
    for (int i = 0; i < n; ++i) {
        const mp_word qi = (x[i] * r) & MP_MASK;
        mp_word carry = 0;
        for (int j = 0; j < n; ++j) {
            mp_word t = x[i + j] + qi * m.dp[j] + carry;
            x[i + j] = mpd::lo28(t);
            carry = t >> MP_DIGIT_BIT;
        }
        for (int k = i + n; carry != 0 && k <= width; ++k) {
            mp_word t = x[k] + carry;
            x[k] = mpd::lo28(t);
            carry = t >> MP_DIGIT_BIT;
        }
    }
    for (int i = n; i <= width; ++i) x[i - n] = x[i];
    for (int i = width - n + 1; i <= width; ++i) x[i] = 0;
    a.used = width + 1 - n;
    a.sign = MP_ZPOS;
    a.clamp();
    if (BigNum::mp_cmp_mag(a, m) >= 0) {
        mpd::subMag(x, a.used, m.dp, n, x);
        a.clamp();
        if (BigNum::mp_cmp_mag(a, m) >= 0) return BigNum::mp_mod(a, m, a);
    }
    return MP_OKAY;
}

// Unrolled column reduction for the curve field lengths: x holds 2N + 1 digits (zero past
// the value); the N + 1 digits of (x + q*m) / R land in x[0 .. N].
template <int N, int I>
inline void reduceLowColumn(const mp_digit* x, const mp_digit* md, mp_digit r, mp_digit* q,
                            mp_word& acc) {
    acc += x[I];
    acc += mpd::dot<I, 0, I>(q, md);
    q[I] = (static_cast<mp_digit>(acc) * r) & MP_MASK;
    acc += mp_word{q[I]} * md[0];
    acc >>= MP_DIGIT_BIT;
}

template <int N, int I>
inline void reduceHighColumn(mp_digit* x, const mp_digit* md, const mp_digit* q, mp_word& acc) {
    acc += x[I];
    acc += mpd::dot<I, I - N + 1, N>(q, md);
    x[I - N] = mpd::lo28(acc);
    acc >>= MP_DIGIT_BIT;
}

template <int N, std::size_t... I>
inline void reduceColumns(mp_digit* x, const mp_digit* md, mp_digit r, std::index_sequence<I...>) {
    mp_digit q[static_cast<std::size_t>(N)];
    mp_word acc = 0;
    (reduceLowColumn<N, static_cast<int>(I)>(x, md, r, q, acc), ...);
    (reduceHighColumn<N, N + static_cast<int>(I)>(x, md, q, acc), ...);
    x[N] = static_cast<mp_digit>(acc + x[2 * N]);
    secureWipe(q, sizeof q);
}

// Unrolled column reduction for the curve field lengths: x holds 2N + 1 digits (zero past
// the value); the N + 1 digits of (x + q*m) / R land in x[0 .. N].
template <int N>
void reduceFixed(mp_digit* x, const mp_digit* md, mp_digit r) {
    reduceColumns<N>(x, md, r, std::make_index_sequence<static_cast<std::size_t>(N)>{});
}

using ReduceKernel = void (*)(mp_digit*, const mp_digit*, mp_digit);
constexpr int kMaxFixed = 19;
const ReduceKernel kReduceKernels[kMaxFixed + 1] = {
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, reduceFixed<6>, reduceFixed<7>,
    reduceFixed<8>, nullptr, reduceFixed<10>, nullptr, reduceFixed<12>, nullptr,
    reduceFixed<14>, nullptr, nullptr, nullptr, nullptr, reduceFixed<19>};

// Column-wise (Comba) reduction: the quotient digit q[i] is chosen while column i is being
// summed, so that column's low digit becomes zero; the upper columns then hold
// (a + q*m) / R. Column i of the upper half is written into digit i - n of a itself, which
// is safe because that digit was consumed by an earlier column.
int BigNum::mp_montgomery_reduce(mp_int& a, const mp_int& m, unsigned rho) {
    const int n = m.used;
    if (n == 0 || m.sign == MP_NEG || (m.dp[0] & 1) == 0 || a.sign == MP_NEG) return MP_VAL;
    const int na = a.used;
    const int width = na > 2 * n ? na : 2 * n;
    int err = a.grow(width + 1);
    if (err != MP_OKAY) return err;
    mp_digit* x = a.dp;
    for (int i = na; i <= width; ++i) x[i] = 0;

    if (n > mpd::kMaxCombaColumn) return reduceRows(a, m, rho, width);
    if (width == 2 * n && n <= kMaxFixed && kReduceKernels[n] != nullptr) {
        kReduceKernels[n](x, m.dp, rho & MP_MASK);
        a.used = mpd::trimmed(x, n + 1);
        for (int i = a.used; i <= width; ++i) x[i] = 0;
        a.sign = MP_ZPOS;
        if (mpd::cmpMag(x, a.used, m.dp, n) >= 0) {
            mpd::subMag(x, a.used, m.dp, n, x);
            a.clamp();
        }
        return MP_OKAY;
    }

    mpd::Scratch<mp_digit, MP_INLINE_DIGITS> qs;
    if (!qs.reserve(mpd::sz(n))) return MP_MEM;
    mp_digit* q = qs.data();
    const mp_digit* md = m.dp;
    const mp_digit r = rho & MP_MASK;

    mp_word acc = 0;
    for (int i = 0; i < n; ++i) {
        acc += x[i];
        const mp_digit* pm = md + i;
        for (int j = 0; j < i; ++j) acc += mp_word{q[j]} * pm[-j];
        const mp_digit qi = (static_cast<mp_digit>(acc) * r) & MP_MASK;
        q[i] = qi;
        acc += mp_word{qi} * md[0];
        acc >>= MP_DIGIT_BIT;
    }
    for (int i = n; i < 2 * n; ++i) {
        acc += x[i];
        const int lo = i - n + 1;
        const mp_digit* pm = md + (i - lo);
        for (int j = 0, cnt = n - lo; j < cnt; ++j) acc += mp_word{q[lo + j]} * pm[-j];
        x[i - n] = mpd::lo28(acc);
        acc >>= MP_DIGIT_BIT;
    }
    // Beyond 2n digits only for inputs outside [0, m*R); they still reduce correctly below.
    int top = n;
    for (int i = 2 * n; i <= width; ++i) {
        acc += x[i];
        x[top++] = mpd::lo28(acc);
        acc >>= MP_DIGIT_BIT;
    }
    int used = mpd::trimmed(x, top);
    for (int i = used; i <= width; ++i) x[i] = 0;
    a.used = used;
    a.sign = MP_ZPOS;

    // For a < m*R the result is below 2m and one subtraction suffices.
    if (mpd::cmpMag(x, a.used, md, n) >= 0) {
        mpd::subMag(x, a.used, md, n, x);
        a.clamp();
        if (mpd::cmpMag(x, a.used, md, n) >= 0) return mp_mod(a, m, a);
    }
    return MP_OKAY;
}

}  // namespace vn
