// The generic engine below the key API: the limb field on both product routes against GMP,
// every case of the complete additions, and the engine's routines the key API does not reach
// one by one (the ladder, the two-scalar sum, the Jacobian group law) against OpenSSL.

#include <gmp.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ecc/generic/ConstantTimeMultiplication.h"
#include "ecc/generic/CurveEngine.h"
#include "ecc/generic/JacobianArithmetic.h"
#include "ecc/generic/ScalarMultiplication.h"
#include "support/gmp_mpz.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::Mpz;
using testing_support::OracleCurve;
using testing_support::hexOf;
using testing_support::samePoint;

// Every random value below comes from this seed, so a fault found once is found on every run.
constexpr unsigned long kSeed = 0x17E9u;

struct Random {
    Random() { gmp_randinit_default(s), gmp_randseed_ui(s, kSeed); }
    ~Random() { gmp_randclear(s); }
    void below(mpz_srcptr m, mpz_ptr out) {
        mpz_urandomm(out, s, m);  // zero has odds of one in n
    }
    gmp_randstate_t s;
};

void toLimbs(mpz_srcptr z, Limb* out, int L) {
    for (int i = 0; i < L; ++i) out[i] = 0;
    mpz_export(out, nullptr, -1, sizeof(Limb), 0, 0, z);
}
void fromLimbs(const Limb* in, int L, mpz_ptr z) { mpz_import(z, static_cast<size_t>(L), -1, sizeof(Limb), 0, 0, in); }
std::string hexOf(mpz_srcptr z) {
    char hex[160];  // 521 bits
    return mpz_get_str(hex, 16, z);
}

// mul, sqr, add, sub and half on every pair of edge and random residues, against GMP, on the
// portable columns and on the MULX/ADX route where the size has one (inversion is mul and
// sqr in a fixed chain, run by every key operation). The edges: 0, 1, p - 1, p - 2, a limb
// boundary (2^64 - 1, 2^64) and (p -+ 1)/2, where halving's two branches meet.
TEST(LimbField, EveryOperationMatchesGmpOnBothRoutes) {
    std::printf("seed %lu\n", kSeed);
    int adxRuns = 0;
    for (const std::string& name : testing_support::genericCurves()) {
        for (const bool adx : {false, true}) {
            SCOPED_TRACE(name + (adx ? " adx" : " columns"));
            OracleCurve c(name.c_str());
            withFieldLimbs(fieldLimbs(c.p), [&](auto limbs) {
                constexpr int N = decltype(limbs)::value;
                Limb pl[arraySize(N)], la[arraySize(N)], lb[arraySize(N)], lo[arraySize(N)];
                EXPECT_TRUE(BigNum::mpint_to_limbs(c.p, pl, N));
                LimbField<N> f;
                f.setModulus(pl);
                if (adx && !f.m_adx) return true;
                adxRuns += adx;
                f.m_adx = adx;
                Mpz p, rInv, want, got;
                fromLimbs(pl, N, p);
                mpz_setbit(rInv, 64u * N);
                EXPECT_NE(0, mpz_invert(rInv, rInv, p));
                Mpz values[16];
                mpz_set_ui(values[1], 1), mpz_sub_ui(values[2], p, 1), mpz_sub_ui(values[3], p, 2);
                mpz_set_ui(values[4], ~0ul), mpz_setbit(values[5], 64), mpz_fdiv_q_2exp(values[6], p, 1);
                mpz_add_ui(values[7], values[6], 1);
                Random rnd;
                for (int i = 8; i < 16; ++i) rnd.below(p, values[i]);
                const auto expect = [&](const char* op, const Limb* out) {
                    mpz_mod(want, want, p);
                    fromLimbs(out, N, got);
                    EXPECT_EQ(0, mpz_cmp(got, want)) << op;
                };
                for (Mpz& x : values) {
                    for (Mpz& y : values) {
                        toLimbs(x, la, N), toLimbs(y, lb, N);
                        f.mul(la, lb, lo), mpz_mul(want, x, y), mpz_mul(want, want, rInv), expect("mul", lo);
                        f.add(la, lb, lo), mpz_add(want, x, y), expect("add", lo);
                        f.sub(la, lb, lo), mpz_sub(want, x, y), expect("sub", lo);
                    }
                    toLimbs(x, la, N);
                    f.sqr(la, lo), mpz_mul(want, x, x), mpz_mul(want, want, rInv), expect("sqr", lo);
                    f.half(la, la), mpz_set(want, x);
                    if (mpz_odd_p(want.z) != 0) mpz_add(want, want, p);
                    mpz_fdiv_q_2exp(want, want, 1);
                    expect("half", la);
                }
                return true;
            });
        }
    }
    std::printf("MULX/ADX route checked on %d curves\n", adxRuns);
}

// Every case of the variable-time and mixed complete additions: P + P held with another Z is
// 2P, P - P and O + O are O, O + P and P + O are P. (The constant-time Jacobian one meets its
// cases in every variable-base product; the projective one has none: its formula is complete.)
template <int L>
void checkCompleteAddition(OracleCurve& c) {
    LimbCurve<L> lc;
    EXPECT_TRUE(lc.init(c.p, c.ma()));
    LimbPoint<L> g, scaled, neg, inf, twice, out;
    EXPECT_TRUE(lc.enter(c.G, c.p, g));
    // (X l^2, Y l^3, Z l) with l = 3: the same point with another Z.
    Limb l[arraySize(L)], l2[arraySize(L)], l3[arraySize(L)];
    lc.f.add(lc.one, lc.one, l), lc.f.add(l, lc.one, l), lc.f.sqr(l, l2), lc.f.mul(l2, l, l3);
    lc.f.mul(g.x, l2, scaled.x), lc.f.mul(g.y, l3, scaled.y), lc.f.mul(g.z, l, scaled.z);
    neg = scaled;
    negateWhere(lc.f, ~Limb{0}, neg.y);
    inf = g;
    for (int i = 0; i < L; ++i) inf.z[i] = 0;
    limbDouble(lc, g, twice);
    const auto check = [&](const char* what, const LimbPoint<L>* want) {
        Limb ax[arraySize(L)], ay[arraySize(L)], bx[arraySize(L)], by[arraySize(L)];
        if (want == nullptr) {
            EXPECT_NE(0u, LimbField<L>::zeroMask(out.z)) << what;
            return;
        }
        EXPECT_TRUE(toAffine(lc, out, ax, ay) && toAffine(lc, *want, bx, by) && LimbField<L>::equal(ax, bx) &&
                    LimbField<L>::equal(ay, by))
            << what;
    };
    const struct {
        const LimbPoint<L>*a, *b, *want;
        const char* what;
    } cases[] = {{&g, &scaled, &twice, "P + P"}, {&g, &neg, nullptr, "P - P"}, {&inf, &scaled, &g, "O + P"},
                 {&scaled, &inf, &g, "P + O"},   {&inf, &inf, nullptr, "O + O"}};
    for (const auto& cs : cases) {
        limbAddComplete_var(lc, *cs.a, *cs.b, out), check(cs.what, cs.want);
    }
    for (const auto& [a, want] : {std::pair{&scaled, &twice}, {&neg, nullptr}, {&inf, &g}}) {  // g affine
        limbAddComplete_var(lc, *a, g, out, true), check("var affine", want);
        limbAddMixedComplete(lc, *a, g.x, g.y, out), check("mixed", want);
    }
}

TEST(CompleteAddition, EveryCaseOnEveryCurve) {
    for (const std::string& name : testing_support::genericCurves()) {
        SCOPED_TRACE(name);
        OracleCurve c(name.c_str());
        withFieldLimbs(fieldLimbs(c.p), [&](auto limbs) {
            checkCompleteAddition<decltype(limbs)::value>(c);
            return true;
        });
    }
}

// The routines only reached from here, against OpenSSL: the ladder and the two-scalar sum on
// edge scalars (1, 2, 3, n - 1, n - 2, the top bit and the run of ones below it) and seeded
// random ones, then their corners; the Jacobian double/add/map-back. The engine's own products
// of these scalars are the key operations' differential's.
TEST(EngineRoutines, MatchOpenSslOnEdgeAndRandomScalars) {
    for (const std::string& name : testing_support::genericCurves()) {
        SCOPED_TRACE(name);
        OracleCurve c(name.c_str());
        LogBase log;
        Random rnd;
        Mpz n(hexOf(c.n).c_str()), z;
        std::vector<std::string> hexes = {"1", "2", "3"};
        for (unsigned long d : {1ul, 2ul}) mpz_sub_ui(z, n, d), hexes.push_back(hexOf(z));
        mpz_set_ui(z, 0), mpz_setbit(z, static_cast<mp_bitcnt_t>(BigNum::mp_count_bits(c.n) - 1));
        hexes.push_back(hexOf(z));
        mpz_sub_ui(z, z, 1), hexes.push_back(hexOf(z));
        for (int i = 0; i < 2; ++i) rnd.below(n, z), hexes.push_back(hexOf(z));
        mp_int q, u;
        rnd.below(n, z), BigNum::mp_read_radix(q, hexOf(z).c_str(), 16);
        EccPoint Q, ours, theirs;
        c.mul(c.G, q, Q);
        for (const std::string& hex : hexes) {
            mp_int k;
            BigNum::mp_read_radix(k, hex.c_str(), 16);
            SCOPED_TRACE("k = " + hex);
            c.mul(c.G, k, theirs);
            EXPECT_TRUE(pointMult_tmr(k, c.G, ours, c.ma(), c.p, log) && samePoint(ours, theirs)) << "ladder";
            rnd.below(n, z), BigNum::mp_read_radix(u, hexOf(z).c_str(), 16);
            c.mul2(c.G, k, Q, u, theirs);
            EXPECT_TRUE(c.key.mul2add(c.G, k, Q, u, ours, c.ma(), c.p, log) && samePoint(ours, theirs)) << "mul2add";
        }
        // mul2add with one scalar zero, a short one, Out = A.
        EccPoint A;
        c.mul(Q, u, theirs);
        mp_int zero, small;
        BigNum::mp_set(small, 0x1234);
        EXPECT_TRUE(c.key.mul2add(c.G, zero, Q, u, ours, c.ma(), c.p, log) && samePoint(ours, theirs)) << "0*G + u*Q";
        c.mul(c.G, u, theirs);
        EXPECT_TRUE(c.key.mul2add(c.G, u, Q, zero, ours, c.ma(), c.p, log) && samePoint(ours, theirs)) << "u*G + 0*Q";
        c.mul2(c.G, u, Q, small, theirs);
        A.copyFromEccPoint(c.G);
        EXPECT_TRUE(c.key.mul2add(A, u, Q, small, A, c.ma(), c.p, log) && samePoint(A, theirs)) << "short, Out = A";
        EXPECT_FALSE(c.key.mul2add(c.G, zero, Q, zero, ours, c.ma(), c.p, log)) << "0*G + 0*Q";
        EXPECT_FALSE(pointMult_tmr(zero, c.G, ours, c.ma(), c.p, log)) << "ladder 0";
        EXPECT_FALSE(pointMult_tmr(c.n, c.G, ours, c.ma(), c.p, log)) << "ladder n";
        EXPECT_TRUE(log.errors().empty());

        // The Jacobian group law in Montgomery form: 2G by doubling; 3G as 2G + G with G's Z
        // Jacobian and left as the integer 1 (affine); 4G as 2G + 2G, the addition's doubling;
        // and P - P, which must not map back to an affine point.
        unsigned rho = 0;
        mp_int mu;
        BigNum::mp_montgomery_setup(c.p, rho);
        BigNum::mp_montgomery_normalization(mu, c.p);
        EccPoint g, gAffine, two, three, threeAffine, four, want;
        BigNum::mp_mulmod(c.G.x, mu, c.p, g.x), BigNum::mp_mulmod(c.G.y, mu, c.p, g.y), BigNum::mp_copy(mu, g.z);
        gAffine.copyFromEccPoint(g);
        BigNum::mp_set(gAffine.z, 1);
        EXPECT_TRUE(pointDouble(g, two, c.ma(), c.p, rho) && pointAdd(two, g, three, c.ma(), c.p, rho) &&
                    pointAdd(two, gAffine, threeAffine, c.ma(), c.p, rho) && pointAdd(two, two, four, c.ma(), c.p, rho));
        for (auto [pt, m] : {std::pair<EccPoint*, unsigned>{&two, 2}, {&three, 3}, {&threeAffine, 3}, {&four, 4}}) {
            BigNum::mp_set(u, m);
            c.mul(c.G, u, want);
            EXPECT_TRUE(mapPointBack(*pt, c.p, rho) && samePoint(*pt, want)) << m << "G";
        }
        BigNum::mp_sub(c.p, gAffine.y, gAffine.y);
        BigNum::mp_copy(mu, gAffine.z);
        EXPECT_TRUE(pointAdd(g, gAffine, ours, c.ma(), c.p, rho));
        EXPECT_FALSE(mapPointBack(ours, c.p, rho)) << "P - P";
    }
}

// The limits outside any one curve: a scalar over 256 bytes, an even modulus.
TEST(EngineRoutines, RefuseWhatTheyCannotCarry) {
    OracleCurve c("secp256r1");
    LogBase log;
    std::vector<unsigned char> big(257, 0x5A);
    mp_int kA, kB;
    BigNum::mp_set(kB, 1);
    EccPoint out;
    // Either scalar, in either place: 256 bytes fit, 257 do not.
    for (unsigned len : {257u, 256u}) {
        ASSERT_TRUE(BigNum::mpint_from_bytes(kA, big.data(), static_cast<int>(len)));
        EXPECT_EQ(c.key.mul2add(c.G, kA, c.G, kB, out, c.ma(), c.p, log), len == 256) << len;
        EXPECT_EQ(c.key.mul2add(c.G, kB, c.G, kA, out, c.ma(), c.p, log), len == 256) << len;
    }
    mp_int even;
    BigNum::mp_set(even, 1000);
    EXPECT_FALSE(pointMult_tmr(kB, c.G, out, nullptr, even, log));
}

}  // namespace
}  // namespace vn
