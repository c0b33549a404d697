#include "host/BigNum.h"
#include "host/BigNumCount.h"
#include "host/BigNumDigits.h"

namespace vn {
namespace mpd {

static int bitLength(mp_digit d) {
    int n = 0;
    while (d != 0) {
        ++n;
        d >>= 1;
    }
    return n;
}

static bool divByDigit(const mp_digit* u, int nu, mp_digit v, mp_digit* q, mp_digit* r) {
    mp_word rem = 0;
    for (int i = nu - 1; i >= 0; --i) {
        mp_word cur = (rem << MP_DIGIT_BIT) | u[i];
        if (q != nullptr) q[i] = static_cast<mp_digit>(cur / v);
        rem = cur % v;
    }
    if (r != nullptr) r[0] = static_cast<mp_digit>(rem);
    return true;
}

// Algorithm D (TAOCP 4.3.1) in base 2^28. The divisor is shifted so that its top digit has
// bit 27 set; then the two-digit trial quotient is at most two too large, and one extra
// correction after the multiply-subtract catches the rare remaining case.
bool divDigits(const mp_digit* u, int nu, const mp_digit* v, int nv, mp_digit* q, mp_digit* r) {
    if (nv == 1) return divByDigit(u, nu, v[0], q, r);

    const int s = MP_DIGIT_BIT - bitLength(v[nv - 1]);
    DigitScratch vnS, unS;
    if (!vnS.reserve(sz(nv)) || !unS.reserve(sz(nu + 1))) return false;
    mp_digit* vn = vnS.data();
    mp_digit* un = unS.data();
    for (int i = nv - 1; i > 0; --i) {
        vn[i] = ((v[i] << s) & MP_MASK) | (v[i - 1] >> (MP_DIGIT_BIT - s));
    }
    vn[0] = (v[0] << s) & MP_MASK;
    un[nu] = u[nu - 1] >> (MP_DIGIT_BIT - s);
    for (int i = nu - 1; i > 0; --i) {
        un[i] = ((u[i] << s) & MP_MASK) | (u[i - 1] >> (MP_DIGIT_BIT - s));
    }
    un[0] = (u[0] << s) & MP_MASK;

    const mp_word base = mp_word{1} << MP_DIGIT_BIT;
    const mp_word vTop = vn[nv - 1];
    const mp_word vNext = vn[nv - 2];
    const double vTopInverse = 1.0 / static_cast<double>(vTop);
    for (int j = nu - nv; j >= 0; --j) {
        mp_word num = (mp_word{un[j + nv]} << MP_DIGIT_BIT) | un[j + nv - 1];
        // A 64-bit hardware division costs as much as a whole row of multiplications. The
        // quotient is below 2^29 and the double product is accurate to far better than
        // one unit, so the floating-point estimate is off by at most one either way.
        mp_word qhat = static_cast<mp_word>(
            static_cast<std::int64_t>(static_cast<double>(num) * vTopInverse));
        std::int64_t rem = static_cast<std::int64_t>(num) - static_cast<std::int64_t>(qhat * vTop);
        if (rem < 0) {
            --qhat;
            rem += static_cast<std::int64_t>(vTop);
        } else if (rem >= static_cast<std::int64_t>(vTop)) {
            ++qhat;
            rem -= static_cast<std::int64_t>(vTop);
        }
        mp_word rhat = static_cast<mp_word>(rem);
        while (qhat >= base || qhat * vNext > ((rhat << MP_DIGIT_BIT) | un[j + nv - 2])) {
            --qhat;
            rhat += vTop;
            if (rhat >= base) break;
        }
        // Multiply and subtract with a signed running carry: the products do not depend
        // on each other, so the only serial chain is one add and one arithmetic shift per
        // digit. |acc| stays below 2^57.
        std::int64_t acc = 0;
        for (int i = 0; i < nv; ++i) {
            acc += static_cast<std::int64_t>(un[i + j]) -
                   static_cast<std::int64_t>(qhat * vn[i]);
            un[i + j] = static_cast<mp_digit>(acc) & MP_MASK;
            acc >>= MP_DIGIT_BIT;
        }
        std::int64_t t = acc + static_cast<std::int64_t>(un[j + nv]);
        un[j + nv] = static_cast<mp_digit>(t) & MP_MASK;
        if (t < 0) {
            --qhat;
            mp_digit carry = 0;
            for (int i = 0; i < nv; ++i) {
                mp_digit sum = un[i + j] + vn[i] + carry;
                un[i + j] = sum & MP_MASK;
                carry = sum >> MP_DIGIT_BIT;
            }
            un[j + nv] = (un[j + nv] + carry) & MP_MASK;
        }
        if (q != nullptr) q[j] = static_cast<mp_digit>(qhat);
    }
    if (r != nullptr) {
        for (int i = 0; i < nv - 1; ++i) {
            r[i] = (un[i] >> s) | ((un[i + 1] << (MP_DIGIT_BIT - s)) & MP_MASK);
        }
        r[nv - 1] = (un[nv - 1] >> s) | ((un[nv] << (MP_DIGIT_BIT - s)) & MP_MASK);
    }
    return true;
}

}  // namespace mpd

int BigNum::mp_div(const mp_int& a, const mp_int& b, mp_int* q, mp_int* r) {
    if (b.used == 0) return MP_VAL;
    const int na = a.used, nb = b.used;
    if (mpd::cmpMag(a.dp, na, b.dp, nb) < 0) {
        if (r != nullptr) {
            int err = mp_copy(a, *r);
            if (err != MP_OKAY) return err;
        }
        if (q != nullptr) {
            q->used = 0;
            q->sign = MP_ZPOS;
        }
        return MP_OKAY;
    }
    // q or r may be a or b: both results are formed aside before either is written.
    mpd::DigitScratch qs, rs;
    if (!qs.reserve(mpd::sz(na - nb + 1)) || !rs.reserve(mpd::sz(nb))) return MP_MEM;
    if (!mpd::divDigits(a.dp, na, b.dp, nb, qs.data(), rs.data())) return MP_MEM;
    const int qSign = a.sign == b.sign ? MP_ZPOS : MP_NEG;
    const int rSign = a.sign;
    if (r != nullptr) {
        int err = mpd::assign(*r, rs.data(), nb, rSign);
        if (err != MP_OKAY) return err;
    }
    if (q != nullptr) {
        int err = mpd::assign(*q, qs.data(), na - nb + 1, qSign);
        if (err != MP_OKAY) return err;
    }
    return MP_OKAY;
}

int BigNum::mp_mod(const mp_int& a, const mp_int& m, mp_int& c) {
    if (m.used == 0 || m.sign == MP_NEG) return MP_VAL;
    const int na = a.used, nm = m.used;
    if (a.sign == MP_ZPOS && mpd::cmpMag(a.dp, na, m.dp, nm) < 0) return mp_copy(a, c);

    mpd::DigitScratch rs;
    if (!rs.reserve(mpd::sz(nm))) return MP_MEM;
    int nr = na;
    if (mpd::cmpMag(a.dp, na, m.dp, nm) < 0) {
        for (int i = 0; i < na; ++i) rs[mpd::sz(i)] = a.dp[i];
    } else {
        if (!mpd::divDigits(a.dp, na, m.dp, nm, nullptr, rs.data())) return MP_MEM;
        nr = mpd::trimmed(rs.data(), nm);
    }
    if (a.sign == MP_NEG && nr > 0) {
        // A negative remainder -r becomes m - r.
        mpd::subMag(m.dp, nm, rs.data(), nr, rs.data());
        nr = nm;
    }
    return mpd::assign(c, rs.data(), nr, MP_ZPOS);
}

int BigNum::mp_mulmod(const mp_int& a, const mp_int& b, const mp_int& m, mp_int& d) {
    ECCKEY_COUNT_FIELD_MUL();
    mp_int t;
    int err = mp_mul(a, b, t);
    if (err != MP_OKAY) return err;
    return mp_mod(t, m, d);
}

}  // namespace vn
