#include "host/BigNum.h"
#include "host/BigNumDigits.h"

namespace vn {

// Extended Euclid on magnitudes. The Bezout coefficients t_j of a (t_j * a = r_j mod m)
// alternate in sign, t_1 = 1, t_2 = -q_1, t_3 = 1 + q_1 q_2, ..., so only |t_j| is kept:
// |t_{j+1}| = |t_{j-1}| + q_j |t_j|, and the sign follows from the parity of j. This
// works for even moduli as well, which a binary method would not without extra work.
int BigNum::mp_invmod(const mp_int& a, const mp_int& m, mp_int& c) {
    if (m.sign == MP_NEG || mp_cmp_d(m, 1) <= 0) return MP_VAL;
    const int nm = m.used;
    const std::size_t cap = mpd::sz(nm + 2);
    mpd::DigitScratch bufR0, bufR1, bufR2, bufT0, bufT1, bufT2, bufQ, bufP;
    if (!bufR0.reserve(cap) || !bufR1.reserve(cap) || !bufR2.reserve(cap) ||
        !bufT0.reserve(cap) || !bufT1.reserve(cap) || !bufT2.reserve(cap) ||
        !bufQ.reserve(cap) || !bufP.reserve(2 * cap)) {
        return MP_MEM;
    }
    mp_digit* r0 = bufR0.data();
    mp_digit* r1 = bufR1.data();
    mp_digit* r2 = bufR2.data();
    mp_digit* t0 = bufT0.data();
    mp_digit* t1 = bufT1.data();
    mp_digit* t2 = bufT2.data();
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
    bool t0Positive = false;  // sign of t_0 is irrelevant while it is zero

    while (n1 > 0) {
        if (!mpd::divDigits(r0, n0, r1, n1, q, r2)) return MP_MEM;
        int nq = mpd::trimmed(q, n0 - n1 + 1);
        int n2 = mpd::trimmed(r2, n1);
        // t2 = t0 + q * t1
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
