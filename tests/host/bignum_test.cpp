#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <vector>

#include "host/BigNum.h"
#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"
#include "support/gmp_mpz.h"

// Every mp_int operation against GMP. Values cross through the raw 28-bit digits, so the
// arithmetic rows do not lean on the library's own conversions, which have rows of their own.
namespace vn {
namespace {

using testing_support::Mpz;

void toMpz(const mp_int& a, mpz_ptr out) {
    mpz_import(out, static_cast<std::size_t>(a.used), -1, 4, 0, 4, a.dp);
    if (a.isNegative()) mpz_neg(out, out);
}

void fromMpz(mp_int& a, mpz_srcptr z) {
    std::size_t count = 0;
    a.grow(static_cast<int>((mpz_sizeinbase(z, 2) + 27) / 28));
    mpz_export(a.dp, &count, -1, 4, 0, 4, z);
    a.used = static_cast<int>(count);
    a.sign = mpz_sgn(z) < 0 ? MP_NEG : MP_ZPOS;
    a.clamp();
}

std::string hexOf(mpz_srcptr z) {
    std::vector<char> buf(mpz_sizeinbase(z, 16) + 2);
    return mpz_get_str(buf.data(), 16, z);
}

// A result must be canonical whatever its value: no top zero digit, no negative zero.
::testing::AssertionResult sameValue(const mp_int& a, mpz_srcptr want) {
    bool ok = a.used >= 0 && a.used <= a.alloc && (a.used == 0 ? a.sign == MP_ZPOS : a.dp[a.used - 1] != 0);
    for (int i = 0; i < a.used; ++i) ok = ok && a.dp[i] <= MP_MASK;
    if (!ok) return ::testing::AssertionFailure() << "malformed mp_int";
    Mpz got;
    toMpz(a, got);
    if (mpz_cmp(got, want) == 0) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got " << hexOf(got) << " want " << hexOf(want);
}

struct Rng {
    explicit Rng(unsigned long seed) { gmp_randinit_mt(s), gmp_randseed_ui(s, seed); }
    ~Rng() { gmp_randclear(s); }
    unsigned long below(unsigned long n) { return gmp_urandomm_ui(s, n); }
    // Half from rrandomb: its long runs of ones and zeros carry and borrow across whole digits.
    void bits(mpz_ptr out, unsigned long maxBits, bool sign = false) {
        const unsigned long n = below(maxBits + 1);
        below(2) ? mpz_rrandomb(out, s, n) : mpz_urandomb(out, s, n);
        if (sign && below(3) == 0) mpz_neg(out, out);
    }
    void exact(mpz_ptr out, unsigned long n) { mpz_urandomb(out, s, n - 1), mpz_setbit(out, n - 1); }
    gmp_randstate_t s;
};

void radixOf(mpz_ptr r, mpz_srcptr m) { mpz_set_ui(r, 0), mpz_setbit(r, 28 * ((mpz_sizeinbase(m, 2) + 27) / 28)); }

// Operand classes: each fills x[0..2] for round i so that together they reach every route.
enum Cls { Rand, Digits, Long, Div, AddBack, Mod, Inv, Mont, Unsigned };

void operands(Cls c, Rng& r, int i, Mpz* x) {
    switch (c) {
        case Rand: r.bits(x[0], 1100, true), r.bits(x[1], i % 3 ? 1100 : 64, true); break;
        case Digits: {  // every equal digit count 1-40 (unrolled kernels), all-ones first
            const unsigned long n = 28ul * static_cast<unsigned long>(1 + i % 40);
            if (i < 40) {
                mpz_set_ui(x[0], 0), mpz_setbit(x[0], n), mpz_sub_ui(x[0], x[0], 1), mpz_set(x[1], x[0]);
            } else {
                r.exact(x[0], n - r.below(28)), r.exact(x[1], n - r.below(28));
            }
            break;
        }
        case Long: r.exact(x[0], 7200 + r.below(2000)), r.exact(x[1], 7200 + r.below(2000)); break;
        case Div: r.bits(x[0], 1100, true), r.bits(x[1], i % 4 ? 700 : 40, true); break;
        case AddBack:  // dividends just below a multiple: trial quotients one too large
            r.exact(x[1], 56 + r.below(500));
            if (i % 2) mpz_setbit(x[1], mpz_sizeinbase(x[1], 2) - 2);
            r.exact(x[2], 1 + r.below(300)), mpz_mul(x[0], x[1], x[2]), mpz_sub_ui(x[0], x[0], r.below(3) + 1);
            break;
        case Mod:
            r.bits(x[0], 1100, true), r.bits(x[1], 600, true), r.bits(x[2], i % 5 ? 600 : 30);
            if (i % 50 == 7) mpz_neg(x[2], x[2]);
            break;
        case Inv:
            if (i < 1600) {  // consecutive Fibonacci numbers: every Euclid quotient is 1
                mpz_fib2_ui(x[1], x[0], static_cast<unsigned long>(i + 3));
            } else if (i < 2100) {  // a few digits against many: one huge quotient first
                r.exact(x[1], 100 + r.below(900)), mpz_set_ui(x[0], r.below(1000) + 2);
                if (i % 2) mpz_mul_2exp(x[0], x[0], r.below(200));
            } else {
                r.bits(x[1], i % 7 ? 600 : 20);
                if (i % 2) mpz_setbit(x[1], 0);
                r.bits(x[0], i % 3 ? mpz_sizeinbase(x[1], 2) : 700, true);
                if (i % 11 == 0) mpz_mul(x[0], x[0], x[1]), mpz_tdiv_q_ui(x[0], x[0], i % 2 ? 3 : 1);
                if (i % 97 == 0) mpz_set_si(x[0], 3), mpz_set_si(x[1], -7 + (i % 4) * 4);
            }
            break;
        case Mont: {  // x[2] a modulus, x[0] in [0, m*R) with the extremes
            // The curve primes themselves go through these routines in every engine operation.
            const unsigned sizes[] = {160, 192, 224, 256, 320, 384, 512, 521, 1, 2, 27, 28, 29, 56, 57, 600, 3000, 7200};
            const int which = i / 20;
            if (which < 18) {
                r.exact(x[2], sizes[which]), mpz_setbit(x[2], 0);
                if (which % 2) mpz_rrandomb(x[2], r.s, sizes[which]), mpz_setbit(x[2], 0), mpz_setbit(x[2], sizes[which] - 1);
                if (sizes[which] == 1) mpz_set_ui(x[2], 3);
            } else {
                mpz_set_ui(x[2], static_cast<unsigned long>(i % 3) * 0x1000);  // even or zero: refused
            }
            Mpz rr;
            radixOf(rr, x[2]), mpz_mul(rr, rr, x[2]);
            if (i % 20 == 0) mpz_sub_ui(x[0], rr, 1);
            else if (i % 20 == 1) mpz_set_ui(x[0], 0);
            else if (mpz_sgn(rr.z) != 0) mpz_urandomm(x[0], r.s, rr);
            if (i % 7 == 2 && mpz_sgn(x[2].z) != 0) mpz_tdiv_q(x[0], x[0], x[2]), mpz_mul(x[0], x[0], x[2]);
            break;
        }
        case Unsigned: r.bits(x[0], i % 5 ? 1100 : 64), mpz_urandomb(x[1], r.s, 5); break;
    }
}

using Ours = int (*)(mp_int* const* in, mpz_srcptr const* x, mp_int& out);
using Ref = bool (*)(mpz_ptr want, mpz_srcptr const* x);  // false: ours must refuse

unsigned low32(mpz_srcptr z) { return static_cast<unsigned>(mpz_get_ui(z) & 0xFFFFFFFFu); }
int set(mp_int& out, int v) { return BigNum::mp_set(out, static_cast<unsigned>(v + 1)), MP_OKAY; }
bool sgn(mpz_ptr w, int v) { return mpz_set_si(w, (v > 0) - (v < 0) + 1), true; }

// Which object receives the result: a fresh one holding stale digits, one of the inputs,
// or the first input passed twice (the square paths).
enum : unsigned { Fresh = 1, OutA = 2, OutB = 4, OutM = 8, AIsB = 16, AllAlias = 31 };

struct Row {
    const char* name;
    Cls cls;
    int rounds;
    unsigned aliases;
    Ours ours;
    Ref ref;
};

#define OP(...) [](mp_int* const* in, mpz_srcptr const* x, mp_int& out) -> int { (void)x; (void)in; __VA_ARGS__ }
#define REF(...) [](mpz_ptr w, mpz_srcptr const* x) -> bool { __VA_ARGS__ }

const Row kRows[] = {
    {"add", Rand, 1500, Fresh | OutA | OutB | AIsB, OP(return BigNum::mp_add(*in[0], *in[1], out);), REF(return mpz_add(w, x[0], x[1]), true;)},
    {"sub", Rand, 1500, Fresh | OutA | OutB | AIsB, OP(return BigNum::mp_sub(*in[0], *in[1], out);), REF(return mpz_sub(w, x[0], x[1]), true;)},
    {"mul", Rand, 1500, Fresh | OutA | OutB | AIsB, OP(return BigNum::mp_mul(*in[0], *in[1], out);), REF(return mpz_mul(w, x[0], x[1]), true;)},
    {"mul equal digits", Digits, 2000, Fresh | OutA | AIsB, OP(return BigNum::mp_mul(*in[0], *in[1], out);), REF(return mpz_mul(w, x[0], x[1]), true;)},
    {"sqr equal digits", Digits, 2000, Fresh | OutA, OP(return BigNum::mp_sqr(*in[0], out);), REF(return mpz_mul(w, x[0], x[0]), true;)},
    {"mul long", Long, 6, Fresh | AIsB, OP(return BigNum::mp_mul(*in[0], *in[1], out);), REF(return mpz_mul(w, x[0], x[1]), true;)},
    {"sqr long", Long, 6, Fresh | OutA, OP(return BigNum::mp_sqr(*in[0], out);), REF(return mpz_mul(w, x[0], x[0]), true;)},
    {"div long", Long, 6, Fresh, OP(return BigNum::mp_div(*in[0], *in[1], &out, nullptr);), REF(return mpz_tdiv_q(w, x[0], x[1]), true;)},
    {"cmp", Rand, 3000, Fresh, OP(return set(out, BigNum::mp_cmp(*in[0], *in[1]));), REF(return sgn(w, mpz_cmp(x[0], x[1]));)},
    {"cmp_d", Digits, 3000, Fresh, OP(return set(out, BigNum::mp_cmp_d(*in[0], low32(x[1])));), REF(return sgn(w, mpz_cmp_ui(x[0], low32(x[1])));)},
    {"div_2", Rand, 1000, Fresh | OutA, OP(return BigNum::mp_div_2(*in[0], out);), REF(return mpz_tdiv_q_2exp(w, x[0], 1), true;)},
    {"set_int", Digits, 500, Fresh, OP(return BigNum::mp_set_int(out, low32(x[1]));), REF(return mpz_set_ui(w, low32(x[1])), true;)},
    {"div quotient", Div, 2000, Fresh | OutA | OutB, OP(return BigNum::mp_div(*in[0], *in[1], &out, nullptr);), REF(return mpz_sgn(x[1]) && (mpz_tdiv_q(w, x[0], x[1]), true);)},
    {"div remainder", Div, 2000, Fresh | OutA | OutB, OP(return BigNum::mp_div(*in[0], *in[1], nullptr, &out);), REF(return mpz_sgn(x[1]) && (mpz_tdiv_r(w, x[0], x[1]), true);)},
    {"div add-back", AddBack, 3000, Fresh, OP(mp_int q; int rc = BigNum::mp_div(*in[0], *in[1], &q, &out); Mpz z, wq; toMpz(q, z), mpz_tdiv_q(wq, x[0], x[1]);
        return rc ? rc : mpz_cmp(z, wq) == 0 ? MP_OKAY : -1;), REF(return mpz_tdiv_r(w, x[0], x[1]), true;)},
    {"mod", Mod, 4000, Fresh | OutA | OutM, OP(return BigNum::mp_mod(*in[0], *in[2], out);), REF(return mpz_sgn(x[2]) > 0 && (mpz_mod(w, x[0], x[2]), true);)},
    {"mulmod", Mod, 4000, AllAlias, OP(return BigNum::mp_mulmod(*in[0], *in[1], *in[2], out);), REF(return mpz_sgn(x[2]) > 0 && (mpz_mul(w, x[0], x[1]), mpz_mod(w, w, x[2]), true);)},
    {"invmod", Inv, 3200, Fresh | OutA | OutB, OP(return BigNum::mp_invmod(*in[0], *in[1], out);), REF(return mpz_cmp_ui(x[1], 1) > 0 && mpz_invert(w, x[0], x[1]);)},
    {"montgomery setup", Mont, 380, Fresh, OP(unsigned rho = 0; int rc = BigNum::mp_montgomery_setup(*in[2], rho); BigNum::mp_set(out, rho); return rc;),
     REF(Mpz b; mpz_setbit(b, 28); return mpz_odd_p(x[2]) && (mpz_invert(w, x[2], b), mpz_sub(w, b, w), mpz_mod(w, w, b), true);)},
    {"montgomery reduce", Mont, 380, Fresh,
     OP(unsigned rho = 0; BigNum::mp_montgomery_setup(*in[2], rho); BigNum::mp_copy(*in[0], out); return BigNum::mp_montgomery_reduce(out, *in[2], rho);),
     REF(Mpz r; radixOf(r, x[2]); return mpz_odd_p(x[2]) && (mpz_invert(r, r, x[2]), mpz_mul(w, x[0], r), mpz_mod(w, w, x[2]), true);)},
    // Conversions in: GMP writes the form, the library reads it.
    {"read_radix 16", Unsigned, 2000, Fresh, OP(std::string t(std::string(mpz_get_ui(x[1]) * 2, '0') + hexOf(x[0]));
        for (std::size_t k = 0; k < t.size(); k += 2) t[k] = static_cast<char>(toupper(t[k]));  // mixed case
        return BigNum::mp_read_radix(out, t.c_str(), 16) ? MP_OKAY : -1;), REF(return mpz_set(w, x[0]), true;)},
    {"read_radix 10", Unsigned, 2000, Fresh, OP(std::vector<char> t(mpz_sizeinbase(x[0], 10) + 2); mpz_get_str(t.data(), 10, x[0]);
        return BigNum::mp_read_radix(out, t.data(), 10) ? MP_OKAY : -1;), REF(return mpz_set(w, x[0]), true;)},
};

TEST(BigNum, EveryOperationMatchesGmpUnderEveryAliasing) {
    const unsigned long seed = 20240517;
    std::printf("bignum operand seed %lu\n", seed);
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        Rng rng(seed);
        Mpz x[3], want, stale;
        mpz_srcptr xs[3] = {x[0], x[1], x[2]};
        mpz_setbit(stale, 2000);
        for (int i = 0; i < row.rounds; ++i) {
            operands(row.cls, rng, i, x);
            for (unsigned alias = 1; alias <= AIsB; alias <<= 1) {
                if (!(row.aliases & alias)) continue;
                mp_int a, b, m, fresh;
                fromMpz(a, x[0]), fromMpz(b, alias == AIsB ? x[0] : x[1]), fromMpz(m, x[2]);
                fromMpz(fresh, stale);
                mp_int* in[3] = {&a, alias == AIsB ? &a : &b, &m};
                mp_int& out = alias == OutA || alias == AIsB ? a : alias == OutB ? b : alias == OutM ? m : fresh;
                Mpz y;
                if (alias == AIsB) mpz_set(y, x[1]), mpz_set(x[1], x[0]);
                const bool ok = row.ref(want, xs);
                const int rc = row.ours(in, xs, out);
                if (alias == AIsB) mpz_set(x[1], y);
                const auto at = [&] { return "round " + std::to_string(i) + " alias " + std::to_string(alias) + ": " + hexOf(x[0]) + ", " + hexOf(x[1]) + ", " + hexOf(x[2]); };
                ASSERT_EQ(rc == MP_OKAY, ok) << at();
                if (!ok) continue;
                ASSERT_TRUE(sameValue(out, want)) << at();
            }
        }
    }
}

// Conversions out: the library writes the form, GMP (or the byte form) gives the expected text.
std::string hexBytes(const unsigned char* p, std::size_t n) {
    static const char d[] = "0123456789ABCDEF";
    std::string s;
    for (std::size_t i = 0; i < n; ++i) s += d[p[i] >> 4], s += d[p[i] & 15];
    return s;
}
std::string bytesOf(mpz_srcptr z) {
    std::vector<unsigned char> b(mpz_sizeinbase(z, 256) + 1);
    std::size_t n = 0;
    mpz_export(b.data(), &n, 1, 1, 1, 0, z);
    return hexBytes(b.data(), n);
}
// Enough limbs for x, plus zero to two spare ones.
int limbsFor(mpz_srcptr x) { return static_cast<int>((mpz_sizeinbase(x, 2) + 63) / 64 + mpz_popcount(x) % 3); }
std::string limbsText(const std::vector<std::uint64_t>& l) {
    std::string s;
    for (std::uint64_t v : l) s += std::to_string(v) + ",";
    return s;
}

struct OutRow {
    const char* name;
    bool signedOperands;
    std::string (*ours)(const mp_int& a, mpz_srcptr x);
    std::string (*ref)(mpz_srcptr x);
};

const OutRow kOutRows[] = {
    {"to limbs with spare limbs, nothing past them; one fewer refused", true, [](const mp_int& a, mpz_srcptr x) -> std::string {
         std::vector<std::uint64_t> l(static_cast<std::size_t>(limbsFor(x)) + 1, 0xEEEE);
         const bool narrower = BigNum::mpint_to_limbs(a, l.data(), static_cast<int>((mpz_sizeinbase(x, 2) - 1) / 64));
         if (!BigNum::mpint_to_limbs(a, l.data(), limbsFor(x))) return std::string("refused");
         return limbsText(l) + (narrower ? "narrower taken" : ""); },
     [](mpz_srcptr x) -> std::string {
         std::vector<std::uint64_t> l(static_cast<std::size_t>(limbsFor(x)) + 1, 0);
         mpz_export(l.data(), nullptr, -1, 8, 0, 0, x);
         l.back() = 0xEEEE;
         return mpz_sgn(x) < 0 ? std::string("refused") : limbsText(l); }},
    {"ssh mpint body", true, [](const mp_int& a, mpz_srcptr) -> std::string {
         DataBuffer db;
         return BigNum::mpint_to_ssh_db(a, db) == MP_OKAY ? hexBytes(db.getData2(), db.getSize()) : "refused"; },
     [](mpz_srcptr x) -> std::string {
         std::string b = bytesOf(x);
         return mpz_sgn(x) < 0 ? "refused" : (!b.empty() && b[0] >= '8' ? "00" : "") + b; }},
    {"base64url", false, [](const mp_int& a, mpz_srcptr) -> std::string {
         StringBuffer sb;
         LogNull log;
         return BigNum::mpint_to_base64url(a, sb, log) ? sb.getString() : "refused"; },
     [](mpz_srcptr x) -> std::string {  // zero is one zero octet, not nothing
         DataBuffer db;
         StringBuffer sb;
         db.appendEncoded(mpz_sgn(x) ? bytesOf(x).c_str() : "00", "hex"), db.encodeDB("base64url", sb);
         return std::string(sb.getString()); }},
    {"log_mpint", true, [](const mp_int& a, mpz_srcptr) -> std::string {
         LogBase log;
         BigNum::log_mpint("k", a, log);
         return log.entries().size() == 1 ? log.entries()[0].name + "=" + log.entries()[0].text : "lines"; },
     [](mpz_srcptr x) -> std::string { return std::string(mpz_sgn(x) < 0 ? "k=-" : "k=") + (mpz_sgn(x) ? bytesOf(x) : "0"); }},
};

TEST(BigNum, EveryOutputFormMatchesGmp) {
    const unsigned long seed = 7;
    std::printf("bignum conversion seed %lu\n", seed);
    for (const OutRow& row : kOutRows) {
        SCOPED_TRACE(row.name);
        Rng rng(seed);
        Mpz x;
        for (int i = 0; i < 1500; ++i) {
            rng.bits(x, i % 5 ? 1100 : 64, row.signedOperands);
            if (i == 0) mpz_set_ui(x, 0);
            mp_int a;
            fromMpz(a, x);
            ASSERT_EQ(row.ours(a, x), row.ref(x)) << hexOf(x);
        }
    }
}

TEST(BigNum, StorageHygiene) {
    // Private scalars pass through these objects: outgrown inline digits and cleared values
    // must not keep them, and curve-sized work must stay inline.
    Rng rng(10);
    Mpz x, y;
    rng.exact(x, 521), rng.exact(y, 521);
    mp_int a, b, c;
    fromMpz(a, x), fromMpz(b, y);
    EXPECT_FALSE(BigNum::mpint_from_bytes(c, reinterpret_cast<const unsigned char*>("\x01"), -1));
    ASSERT_EQ(BigNum::mp_mul(a, b, c), MP_OKAY);
    ASSERT_EQ(BigNum::mp_sqr(c, c), MP_OKAY);  // 2084 bits: beyond the inline digits
    EXPECT_NE(c.dp, c.inlineDigits);
    for (mp_digit d : c.inlineDigits) ASSERT_EQ(d, 0u);
    ASSERT_EQ(BigNum::mp_mul(a, b, a), MP_OKAY);
    ASSERT_EQ(BigNum::mp_add(a, b, a), MP_OKAY);
    ASSERT_EQ(BigNum::mp_sqr(b, b), MP_OKAY);
    EXPECT_EQ(a.dp, a.inlineDigits);
    EXPECT_EQ(b.dp, b.inlineDigits);
    BigNum::mp_zero(a);
    EXPECT_TRUE(a.isZero());
    for (mp_digit d : a.inlineDigits) ASSERT_EQ(d, 0u);
}

}  // namespace
}  // namespace vn
