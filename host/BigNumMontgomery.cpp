#include "host/BigNum.h"
#include "host/BigNumCount.h"
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

namespace {

// Product and reduction interleaved column by column (product scanning): column k adds the
// products a[i]*b[k-i] and the already chosen q[j]*m[k-j]; in the low half it then picks
// q[k] so that the column's digit becomes zero. q is the same digit string the separate
// reduction would choose (it is -a*b/m mod R), so the result is identical; the product is
// never stored. A column holds at most 2N products below 2^56, far from 2^64 for N <= 19.
template <int N, int K, bool Square>
inline void montColumn(const mp_digit* a, const mp_digit* b, const mp_digit* md, mp_digit r,
                       mp_digit* q, mp_digit* out, mp_word& acc) {
    constexpr int lo = K < N ? 0 : K - N + 1;
    constexpr int hi = K < N ? K : N - 1;
    if constexpr (Square) {
        acc += mpd::dot<K, lo, (K + 1) / 2>(a, a) << 1;
        if constexpr ((K & 1) == 0) acc += mp_word{a[K / 2]} * a[K / 2];
    } else {
        acc += mpd::dot<K, lo, hi + 1>(a, b);
    }
    if constexpr (K < N) {
        acc += mpd::dot<K, 0, K>(q, md);
        q[K] = (static_cast<mp_digit>(acc) * r) & MP_MASK;
        acc += mp_word{q[K]} * md[0];
    } else {
        acc += mpd::dot<K, K - N + 1, N>(q, md);
        out[K - N] = mpd::lo28(acc);
    }
    acc >>= MP_DIGIT_BIT;
}

template <int N, bool Square, std::size_t... K>
inline void montColumns(const mp_digit* a, const mp_digit* b, const mp_digit* md, mp_digit r,
                        mp_digit* out, std::index_sequence<K...>) {
    mp_digit q[static_cast<std::size_t>(N)];
    mp_word acc = 0;
    (montColumn<N, static_cast<int>(K), Square>(a, b, md, r, q, out, acc), ...);
    out[N - 1] = mpd::lo28(acc);
    out[N] = static_cast<mp_digit>(acc >> MP_DIGIT_BIT);
    secureWipe(q, sizeof q);
}

// out[0 .. N] = (a*b + q*m) / R, below 2m for a, b < m.
template <int N, bool Square>
void montFixed(const mp_digit* a, const mp_digit* b, const mp_digit* md, mp_digit r, mp_digit* out) {
    montColumns<N, Square>(a, b, md, r, out,
                           std::make_index_sequence<static_cast<std::size_t>(2 * N - 1)>{});
}

#if defined(__SIZEOF_INT128__)
// The same Montgomery product with the digits regrouped into 64-bit limbs for the
// arithmetic: a quarter of the multiplications of 28-bit digits. R stays 2^(28N): after
// the full 64-bit reduction steps one short step clears the remaining 28N mod 64 bits. The
// result is below 2m and the caller's subtraction makes it the same residue.
using u64 = std::uint64_t;
__extension__ typedef unsigned __int128 u128;

template <int N>
struct Limbs {
    static constexpr int kBits = MP_DIGIT_BIT * N;
    static constexpr int L = (kBits + 63) / 64;  // limbs of an operand
    static constexpr int S = kBits / 64;         // full reduction steps
    static constexpr int RB = kBits - 64 * S;    // bits of the short step
};

template <int N, int L>
inline void pack(const mp_digit* d, u64* out) {
    for (int l = 0; l < L; ++l) out[l] = 0;
    for (int i = 0; i < N; ++i) {
        const int bit = MP_DIGIT_BIT * i, limb = bit / 64, off = bit % 64;
        out[limb] |= u64{d[i]} << off;
        if (off > 64 - MP_DIGIT_BIT && limb + 1 < L) out[limb + 1] |= u64{d[i]} >> (64 - off);
    }
}

// Adds q*m at limb i of t, carrying through the top limb.
template <int L, int W>
inline void addRow(u64* t, int i, u64 q, const u64* m) {
    u64 c = 0;
    for (int j = 0; j < L; ++j) {
        const u128 v = u128{q} * m[j] + t[i + j] + c;
        t[i + j] = static_cast<u64>(v);
        c = static_cast<u64>(v >> 64);
    }
    for (int k = i + L; k < W; ++k) {
        const u128 v = u128{t[k]} + c;
        t[k] = static_cast<u64>(v);
        c = static_cast<u64>(v >> 64);
    }
}

template <int N, bool Square>
void montLimbs(const mp_digit* a, const mp_digit* b, const mp_digit* md, mp_digit r, mp_digit* out) {
    constexpr int L = Limbs<N>::L, S = Limbs<N>::S, RB = Limbs<N>::RB, W = 2 * L + 1;
    constexpr std::size_t kL = static_cast<std::size_t>(L), kW = static_cast<std::size_t>(W);
    u64 A[kL], B[kL], M[kL], T[kW];
    pack<N, L>(a, A);
    if (!Square) pack<N, L>(b, B);
    const u64* Bp = Square ? A : B;
    pack<N, L>(md, M);
    // -m^-1 mod 2^64, lifted from rho = -m^-1 mod 2^28 by two Newton steps (28 -> 112 bits).
    u64 inv = 0 - u64{r};
    for (int i = 0; i < 2; ++i) inv *= 2 - M[0] * inv;
    const u64 minv = 0 - inv;

    for (int k = 0; k < W; ++k) T[k] = 0;
    for (int i = 0; i < L; ++i) {
        u64 c = 0;
        for (int j = 0; j < L; ++j) {
            const u128 v = u128{A[i]} * Bp[j] + T[i + j] + c;
            T[i + j] = static_cast<u64>(v);
            c = static_cast<u64>(v >> 64);
        }
        T[i + L] = c;
    }
    for (int i = 0; i < S; ++i) addRow<L, W>(T, i, T[i] * minv, M);
    if constexpr (RB > 0) addRow<L, W>(T, S, (T[S] * minv) & ((u64{1} << RB) - 1), M);

    // out = T >> 28N, N + 1 digits.
    u64 res[kL + 1];
    for (int l = 0; l <= L; ++l) {
        const u64 lo = S + l < W ? T[S + l] : 0;
        const u64 hi = S + l + 1 < W ? T[S + l + 1] : 0;
        res[l] = RB == 0 ? lo : (lo >> RB) | (hi << ((64 - RB) & 63));
    }
    for (int i = 0; i <= N; ++i) {
        const int bit = MP_DIGIT_BIT * i, limb = bit / 64, off = bit % 64;
        u64 v = res[limb] >> off;
        if (off > 64 - MP_DIGIT_BIT && limb + 1 <= L) v |= res[limb + 1] << (64 - off);
        out[i] = static_cast<mp_digit>(v) & MP_MASK;
    }
    secureWipe(A, sizeof A);
    secureWipe(B, sizeof B);
    secureWipe(T, sizeof T);
    secureWipe(res, sizeof res);
}
#define ECCKEY_MONT(N, SQ) montLimbs<N, SQ>
#else
#define ECCKEY_MONT(N, SQ) montFixed<N, SQ>
#endif

using MontKernel = void (*)(const mp_digit*, const mp_digit*, const mp_digit*, mp_digit, mp_digit*);
const MontKernel kMontMulKernels[kMaxFixed + 1] = {
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, ECCKEY_MONT(6, false),
    ECCKEY_MONT(7, false), ECCKEY_MONT(8, false), nullptr, ECCKEY_MONT(10, false), nullptr,
    ECCKEY_MONT(12, false), nullptr, ECCKEY_MONT(14, false), nullptr, nullptr, nullptr, nullptr,
    ECCKEY_MONT(19, false)};
const MontKernel kMontSqrKernels[kMaxFixed + 1] = {
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, ECCKEY_MONT(6, true),
    ECCKEY_MONT(7, true), ECCKEY_MONT(8, true), nullptr, ECCKEY_MONT(10, true), nullptr,
    ECCKEY_MONT(12, true), nullptr, ECCKEY_MONT(14, true), nullptr, nullptr, nullptr, nullptr,
    ECCKEY_MONT(19, true)};
#undef ECCKEY_MONT

// A residue the one-pass kernels accept: non-negative and below m.
inline bool isResidue(const mp_int& a, const mp_int& m) {
    return a.sign == MP_ZPOS && mpd::cmpMag(a.dp, a.used, m.dp, m.used) < 0;
}

int montOnePass(const mp_int& a, const mp_int& b, const mp_int& m, unsigned rho, mp_int& c,
                bool square) {
    const int n = m.used;
    const MontKernel kernel = square ? kMontSqrKernels[n] : kMontMulKernels[n];
    mp_digit pa[kMaxFixed], pb[kMaxFixed], out[kMaxFixed + 1];
    for (int i = 0; i < n; ++i) pa[i] = a.get_digit(i);
    if (!square) {
        for (int i = 0; i < n; ++i) pb[i] = b.get_digit(i);
    }
    kernel(pa, square ? pa : pb, m.dp, rho & MP_MASK, out);
    int used = mpd::trimmed(out, n + 1);
    if (mpd::cmpMag(out, used, m.dp, n) >= 0) {
        mpd::subMag(out, used, m.dp, n, out);
        used = mpd::trimmed(out, used);
    }
    int err = mpd::assign(c, out, used, MP_ZPOS);
    secureWipe(pa, sizeof pa);
    secureWipe(pb, sizeof pb);
    secureWipe(out, sizeof out);
    return err;
}

// Measured with the benchmark (interleaved runs, the same machine): the one-pass kernel wins
// up to 10 digits (256-bit fields, about 3% on ECDH); from 12 digits up the separate product
// and column reduction are faster (secp384r1 ECDH 1.27 ms against 1.46, P-521 3.0 against
// 3.4), so wider moduli take that path.
constexpr int kMaxOnePassDigits = 10;

inline bool onePassFits(const mp_int& m) {
    const int n = m.used;
    return n > 0 && n <= kMaxOnePassDigits && kMontMulKernels[n] != nullptr && m.sign == MP_ZPOS &&
           (m.dp[0] & 1) != 0;
}

}  // namespace

int BigNum::mp_mul_montgomery(const mp_int& a, const mp_int& b, const mp_int& m, unsigned rho, mp_int& c) {
    ECCKEY_COUNT_FIELD_MUL();
    if (onePassFits(m) && isResidue(a, m) && isResidue(b, m)) return montOnePass(a, b, m, rho, c, false);
    int err = mp_mul(a, b, c);
    return err != MP_OKAY ? err : mp_montgomery_reduce(c, m, rho);
}

int BigNum::mp_sqr_montgomery(const mp_int& a, const mp_int& m, unsigned rho, mp_int& c) {
    ECCKEY_COUNT_FIELD_MUL();
    if (onePassFits(m) && isResidue(a, m)) return montOnePass(a, a, m, rho, c, true);
    int err = mp_sqr(a, c);
    return err != MP_OKAY ? err : mp_montgomery_reduce(c, m, rho);
}

}  // namespace vn
