#include <cstdint>
#include <utility>

#include "host/BigNum.h"
#include "host/BigNumDigits.h"

namespace vn {

// Extended Euclid on magnitudes, with Lehmer's acceleration.
//
// The Bezout coefficients t_j of a (t_j * a = r_j mod m) alternate in sign: t_1 = 1,
// t_2 = -q_1, t_3 = 1 + q_1 q_2, ... So only |t_j| is kept, and the sign follows from the
// parity of j. This works for even moduli as well, which a binary method would not
// without extra work.
//
// Lehmer: most quotients are decided by the leading bits alone, so a run of Euclid steps
// is simulated on the top 62 bits of the two remainders, collecting the 2x2 cofactor
// matrix, and applied to the full numbers in one pass. A step is accepted only when the
// quotient is the same for both ends of the interval the true values can lie in (Knuth's
// test), and cofactors are kept below 2^30 so that the pass works in 64-bit arithmetic.
// When not even one step can be simulated, one full division step is taken instead.

namespace {

constexpr std::int64_t kCofactorLimit = std::int64_t{1} << 30;

// floor(x / 2^shift) for shift >= 0, when the result fits in 64 bits: digits above the
// fourth from d contribute nothing then, and parts shifted past bit 63 are zero.
std::uint64_t topBits(const mp_digit* x, int n, int shift) {
    const int d = shift / MP_DIGIT_BIT;
    const int b = shift % MP_DIGIT_BIT;
    std::uint64_t r = 0;
    for (int i = 0; i < 4 && d + i < n; ++i) {
        const int s = MP_DIGIT_BIT * i - b;
        if (s < 0) {
            r |= x[d + i] >> -s;
        } else if (s < 64) {
            r |= std::uint64_t{x[d + i]} << s;
        }
    }
    return r;
}

int bitLength(const mp_digit* x, int n) {
    if (n == 0) return 0;
    int bits = (n - 1) * MP_DIGIT_BIT;
    for (mp_digit t = x[n - 1]; t != 0; t >>= 1) ++bits;
    return bits;
}

// Small quotients are the rule; subtracting is much cheaper than a hardware division.
std::int64_t quotient(std::int64_t x, std::int64_t y) {
    if (x < y) return 0;
    if (x - y < y) return 1;
    if (x - 2 * y < y) return 2;
    return x / y;
}

struct Matrix {
    std::int64_t a, b, c, d;
    int steps;
};

// exact: u and v are the whole remainders, not leading bits, so every quotient is right.
Matrix simulate(std::int64_t u, std::int64_t v, bool exact) {
    Matrix m{1, 0, 0, 1, 0};
    for (;;) {
        std::int64_t q;
        if (exact) {
            if (v == 0) break;
            q = quotient(u, v);
            if (q >= kCofactorLimit) break;
        } else {
            if (v + m.c == 0 || v + m.d == 0) break;
            q = quotient(u + m.a, v + m.c);
            if (q >= kCofactorLimit) break;
            std::int64_t check = (u + m.b) - q * (v + m.d);
            if (check < 0 || check >= v + m.d) break;
        }
        std::int64_t nc = m.a - q * m.c;
        std::int64_t nd = m.b - q * m.d;
        if (nc >= kCofactorLimit || -nc >= kCofactorLimit || nd >= kCofactorLimit ||
            -nd >= kCofactorLimit) {
            break;
        }
        m.a = m.c;
        m.b = m.d;
        m.c = nc;
        m.d = nd;
        std::int64_t nv = u - q * v;
        u = v;
        v = nv;
        ++m.steps;
    }
    return m;
}

// out = x*u + y*v for signed cofactors whose result is known to be non-negative.
int combine(std::int64_t x, const mp_digit* u, int nu, std::int64_t y, const mp_digit* v, int nv,
            mp_digit* out) {
    std::int64_t acc = 0;
    for (int i = 0; i < nu; ++i) {
        acc += x * static_cast<std::int64_t>(u[i]);
        if (i < nv) acc += y * static_cast<std::int64_t>(v[i]);
        out[i] = static_cast<mp_digit>(acc) & MP_MASK;
        acc >>= MP_DIGIT_BIT;
    }
    return mpd::trimmed(out, nu);
}

// out = x*s + y*t for magnitudes x, y < 2^30.
int combineMagnitudes(std::uint64_t x, const mp_digit* s, int ns, std::uint64_t y,
                      const mp_digit* t, int nt, mp_digit* out) {
    const int n = ns > nt ? ns : nt;
    std::uint64_t acc = 0;
    for (int i = 0; i < n; ++i) {
        if (i < ns) acc += x * s[i];
        if (i < nt) acc += y * t[i];
        out[i] = mpd::lo28(acc);
        acc >>= MP_DIGIT_BIT;
    }
    int len = n;
    while (acc != 0) {
        out[len++] = mpd::lo28(acc);
        acc >>= MP_DIGIT_BIT;
    }
    return mpd::trimmed(out, len);
}

std::uint64_t magnitude(std::int64_t v) {
    return v < 0 ? static_cast<std::uint64_t>(-v) : static_cast<std::uint64_t>(v);
}

}  // namespace

int BigNum::mp_invmod(const mp_int& a, const mp_int& m, mp_int& c) {
    if (m.sign == MP_NEG || mp_cmp_d(m, 1) <= 0) return MP_VAL;
    const int nm = m.used;
    const std::size_t cap = mpd::sz(nm + 4);
    mpd::DigitScratch bufR0, bufR1, bufR2, bufR3, bufT0, bufT1, bufT2, bufT3, bufQ, bufP;
    if (!bufR0.reserve(cap) || !bufR1.reserve(cap) || !bufR2.reserve(cap) ||
        !bufR3.reserve(cap) || !bufT0.reserve(cap) || !bufT1.reserve(cap) ||
        !bufT2.reserve(cap) || !bufT3.reserve(cap) || !bufQ.reserve(cap) ||
        !bufP.reserve(2 * cap)) {
        return MP_MEM;
    }
    mp_digit* r0 = bufR0.data();
    mp_digit* r1 = bufR1.data();
    mp_digit* r2 = bufR2.data();
    mp_digit* r3 = bufR3.data();
    mp_digit* t0 = bufT0.data();
    mp_digit* t1 = bufT1.data();
    mp_digit* t2 = bufT2.data();
    mp_digit* t3 = bufT3.data();
    mp_digit* q = bufQ.data();
    mp_digit* p = bufP.data();

    // r1 = a mod m (negative and oversized inputs included).
    int n1;
    {
        mp_int reduced;
        int err = mp_mod(a, m, reduced);
        if (err != MP_OKAY) return err;
        n1 = reduced.used;
        for (int i = 0; i < n1; ++i) r1[i] = reduced.dp[i];
    }
    if (n1 == 0) return MP_VAL;
    int n0 = nm;
    for (int i = 0; i < nm; ++i) r0[i] = m.dp[i];
    int nt0 = 0;  // |t_0| = 0
    int nt1 = 1;  // |t_1| = 1
    t1[0] = 1;
    bool t0Positive = false;  // t_0's sign; flips with every Euclid step

    while (n1 > 0) {
        const int shift = bitLength(r0, n0) - 62;
        const int s = shift > 0 ? shift : 0;
        Matrix mx = simulate(static_cast<std::int64_t>(topBits(r0, n0, s)),
                             static_cast<std::int64_t>(topBits(r1, n1, s)), shift <= 0);
        if (mx.steps > 0) {
            int n2 = combine(mx.a, r0, n0, mx.b, r1, n1, r2);
            int n3 = combine(mx.c, r0, n0, mx.d, r1, n1, r3);
            int nt2 = combineMagnitudes(magnitude(mx.a), t0, nt0, magnitude(mx.b), t1, nt1, t2);
            int nt3 = combineMagnitudes(magnitude(mx.c), t0, nt0, magnitude(mx.d), t1, nt1, t3);
            std::swap(r0, r2);
            std::swap(r1, r3);
            std::swap(t0, t2);
            std::swap(t1, t3);
            n0 = n2;
            n1 = n3;
            nt0 = nt2;
            nt1 = nt3;
            if ((mx.steps & 1) != 0) t0Positive = !t0Positive;
            continue;
        }
        // One full step: (r0, r1) = (r1, r0 mod r1), t2 = t0 + q * t1.
        if (!mpd::divDigits(r0, n0, r1, n1, q, r2)) return MP_MEM;
        int nq = mpd::trimmed(q, n0 - n1 + 1);
        int n2 = mpd::trimmed(r2, n1);
        int nt2;
        if (nt1 == 0 || nq == 0) {
            for (int i = 0; i < nt0; ++i) t2[i] = t0[i];
            nt2 = nt0;
        } else {
            mpd::mulDigits(q, nq, t1, nt1, p);
            int np = mpd::trimmed(p, nq + nt1);
            nt2 = np >= nt0 ? mpd::addMag(p, np, t0, nt0, t2) : mpd::addMag(t0, nt0, p, np, t2);
        }
        mp_digit* tmp = r0;
        r0 = r1;
        r1 = r2;
        r2 = tmp;
        n0 = n1;
        n1 = n2;
        tmp = t0;
        t0 = t1;
        t1 = t2;
        t2 = tmp;
        nt0 = nt1;
        nt1 = nt2;
        t0Positive = !t0Positive;
    }
    // t0 now belongs to r0 = gcd(a, m).
    if (!(n0 == 1 && r0[0] == 1)) return MP_VAL;
    if (t0Positive) return mpd::assign(c, t0, nt0, MP_ZPOS);
    mpd::subMag(m.dp, nm, t0, nt0, t1);
    return mpd::assign(c, t1, nm, MP_ZPOS);
}

}  // namespace vn
