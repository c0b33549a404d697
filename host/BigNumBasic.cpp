#include <cstring>

#include "host/BigNum.h"
#include "host/BigNumDigits.h"

namespace vn {
namespace mpd {

int cmpMag(const mp_digit* a, int na, const mp_digit* b, int nb) {
    if (na != nb) return na > nb ? 1 : -1;
    for (int i = na - 1; i >= 0; --i) {
        if (a[i] != b[i]) return a[i] > b[i] ? 1 : -1;
    }
    return 0;
}

int addMag(const mp_digit* a, int na, const mp_digit* b, int nb, mp_digit* out) {
    mp_digit carry = 0;
    int i = 0;
    for (; i < nb; ++i) {
        mp_digit t = a[i] + b[i] + carry;
        out[i] = t & MP_MASK;
        carry = t >> MP_DIGIT_BIT;
    }
    for (; i < na; ++i) {
        mp_digit t = a[i] + carry;
        out[i] = t & MP_MASK;
        carry = t >> MP_DIGIT_BIT;
    }
    if (carry != 0) {
        out[i++] = carry;
    }
    return i;
}

void subMag(const mp_digit* a, int na, const mp_digit* b, int nb, mp_digit* out) {
    // Two's-complement wrap in 32 bits: bit 31 of t is the borrow.
    mp_digit borrow = 0;
    int i = 0;
    for (; i < nb; ++i) {
        mp_digit t = a[i] - b[i] - borrow;
        out[i] = t & MP_MASK;
        borrow = t >> 31;
    }
    for (; i < na; ++i) {
        mp_digit t = a[i] - borrow;
        out[i] = t & MP_MASK;
        borrow = t >> 31;
    }
}

int assign(mp_int& a, const mp_digit* src, int n, int sign) {
    int err = a.grow(n);
    if (err != MP_OKAY) return err;
    if (n > 0) std::memcpy(a.dp, src, sz(n) * sizeof(mp_digit));
    a.used = n;
    a.sign = sign;
    a.clamp();
    return MP_OKAY;
}

}  // namespace mpd

int BigNum::mp_copy(const mp_int& a, mp_int& b) {
    if (&a == &b) return MP_OKAY;
    return mpd::assign(b, a.dp, a.used, a.sign);
}

void BigNum::mp_zero(mp_int& a) {
    secureWipe(a.dp, mpd::sz(a.alloc) * sizeof(mp_digit));
    a.used = 0;
    a.sign = MP_ZPOS;
}

void BigNum::mp_set(mp_int& a, unsigned d) {
    // Two digits always fit inline, so this cannot fail.
    a.dp[0] = d & MP_MASK;
    a.dp[1] = d >> MP_DIGIT_BIT;
    a.used = 2;
    a.sign = MP_ZPOS;
    a.clamp();
}

int BigNum::mp_set_int(mp_int& a, unsigned d) {
    mp_set(a, d);
    return MP_OKAY;
}

int BigNum::mp_cmp_mag(const mp_int& a, const mp_int& b) {
    return mpd::cmpMag(a.dp, a.used, b.dp, b.used);
}

int BigNum::mp_cmp(const mp_int& a, const mp_int& b) {
    if (a.sign != b.sign) return a.sign == MP_NEG ? -1 : 1;
    int c = mp_cmp_mag(a, b);
    return a.sign == MP_NEG ? -c : c;
}

int BigNum::mp_cmp_d(const mp_int& a, unsigned d) {
    if (a.sign == MP_NEG) return -1;
    if (a.used > 2) return 1;
    mp_word v = (a.used > 0 ? a.dp[0] : 0) |
                (a.used > 1 ? mp_word{a.dp[1]} << MP_DIGIT_BIT : 0);
    if (v == d) return 0;
    return v > d ? 1 : -1;
}

// |c| = |a| + |b| or |a| - |b| with the sign worked out; bSign is b's sign as the operation
// sees it (flipped for subtraction).
static int addSigned(const mp_int& a, const mp_int& b, int bSign, mp_int& c) {
    int na = a.used, nb = b.used;
    int err = c.grow((na > nb ? na : nb) + 1);
    if (err != MP_OKAY) return err;
    // c may be a or b: their dp is read through the objects after the grow.
    if (a.sign == bSign) {
        int n = na >= nb ? mpd::addMag(a.dp, na, b.dp, nb, c.dp)
                         : mpd::addMag(b.dp, nb, a.dp, na, c.dp);
        c.used = n;
        c.sign = a.sign;
    } else if (mpd::cmpMag(a.dp, na, b.dp, nb) >= 0) {
        mpd::subMag(a.dp, na, b.dp, nb, c.dp);
        c.used = na;
        c.sign = a.sign;
    } else {
        mpd::subMag(b.dp, nb, a.dp, na, c.dp);
        c.used = nb;
        c.sign = bSign;
    }
    c.clamp();
    return MP_OKAY;
}

int BigNum::mp_add(const mp_int& a, const mp_int& b, mp_int& c) {
    return addSigned(a, b, b.sign, c);
}

int BigNum::mp_sub(const mp_int& a, const mp_int& b, mp_int& c) {
    // b's sign is read before c, which may be b, is written.
    int bSign = b.used == 0 ? MP_ZPOS : (b.sign == MP_NEG ? MP_ZPOS : MP_NEG);
    return addSigned(a, b, bSign, c);
}

int BigNum::mp_div_2(const mp_int& a, mp_int& b) {
    int n = a.used;
    int err = b.grow(n);
    if (err != MP_OKAY) return err;
    mp_digit carry = 0;
    for (int i = n - 1; i >= 0; --i) {
        mp_digit d = a.dp[i];
        b.dp[i] = (d >> 1) | (carry << (MP_DIGIT_BIT - 1));
        carry = d & 1;
    }
    b.used = n;
    b.sign = a.sign;
    b.clamp();
    return MP_OKAY;
}

}  // namespace vn
