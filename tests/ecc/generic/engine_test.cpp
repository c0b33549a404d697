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
#include "ecc/generic/ProjectiveAddition.h"
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
        do mpz_urandomm(out, s, m);
        while (mpz_sgn(out) == 0);
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

// mul, sqr, add, sub, half and invert on every pair of edge and random residues, against
// GMP, on the portable columns and on the MULX/ADX route where the size has one; outputs
// aliasing an input included. The edges: 0, 1, p - 1, p - 2, a limb boundary (2^64 - 1,
// 2^64) and (p -+ 1)/2, where halving's two branches meet.
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
                Mpz p, r, rInv, want, got;
                fromLimbs(pl, N, p);
                mpz_setbit(r, 64u * N);
                mpz_mod(r, r, p);
                EXPECT_NE(0, mpz_invert(rInv, r, p));
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
                        f.sub(la, lb, lb), expect("sub into b", lb);
                        toLimbs(y, lb, N), f.mul(la, &x == &y ? la : lb, la);
                        mpz_mul(want, x, y), mpz_mul(want, want, rInv), expect("mul into a", la);
                    }
                    toLimbs(x, la, N);
                    f.sqr(la, lo), mpz_mul(want, x, x), mpz_mul(want, want, rInv), expect("sqr", lo);
                    f.invert(la, lo);  // Montgomery form in and out: R^2 / x, and 0 for 0
                    if (mpz_sgn(x.z) != 0) mpz_invert(want, x, p), mpz_mul(want, want, r), mpz_mul(want, want, r);
                    else mpz_set_ui(want, 0);
                    expect("invert", lo);
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

// Every case of the complete additions, constant-time and variable-time, Jacobian, mixed
// and projective: P + P held with another Z is 2P, P - P and O + O are O, O + P and P + O are P.
template <int L>
void checkCompleteAddition(OracleCurve& c) {
    LimbCurve<L> lc;
    EXPECT_TRUE(lc.init(c.p, c.ma()));
    LimbPoint<L> g, scaled, neg, inf, twice, thrice, out;
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
        limbAddComplete(lc, *cs.a, *cs.b, out), check(cs.what, cs.want);
        limbAddComplete_var(lc, *cs.a, *cs.b, out), check(cs.what, cs.want);
    }
    for (const auto& [a, want] : {std::pair{&scaled, &twice}, {&neg, nullptr}, {&inf, &g}}) {  // g affine
        limbAddComplete_var(lc, *a, g, out, true), check("var affine", want);
        limbAddMixedComplete(lc, *a, g.x, g.y, out), check("mixed", want);
    }
    limbAddComplete(lc, twice, g, thrice), limbAddComplete_var(lc, twice, g, out, true);
    check("var affine 2P + P", &thrice);
    // The projective form (x l, y l, l) of the same point, its negative, and (0 : 1 : 0).
    ProjectiveB<L> b;
    mp_int bm;
    BigNum::mp_read_radix(bm, c.key.m_curve.B.getString(), 16);
    EXPECT_TRUE(lc.enter(bm, c.p, b.v));
    if (c.hasA) {  // the table holds 3b there
        Limb b1[arraySize(L)];
        LimbField<L>::copy(b.v, b1), lc.f.add(b1, b1, b.v), lc.f.add(b.v, b1, b.v);
    }
    LimbPoint<L> proj, projNeg, projInf;
    lc.f.mul(g.x, l, proj.x), lc.f.mul(g.y, l, proj.y), LimbField<L>::copy(l, proj.z);
    projNeg = proj;
    negateWhere(lc.f, ~Limb{0}, projNeg.y);
    for (int i = 0; i < L; ++i) projInf.x[i] = projInf.z[i] = 0;
    LimbField<L>::copy(lc.one, projInf.y);
    for (const auto& [in, want] : {std::pair{&proj, &twice}, {&projNeg, nullptr}, {&projInf, &g}}) {
        projectiveAddMixed(lc, b, *in, g.x, g.y, out), projectiveToJacobian(lc, out), check("projective", want);
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

// The ladder, the two-scalar sum, the Jacobian double/add/map-back and the engine's own
// products against OpenSSL, on edge scalars (1, 2, 3, n - 1, n - 2, the top bit, runs of
// ones below window borders) and seeded random ones; then the inputs with no affine answer.
TEST(EngineRoutines, MatchOpenSslOnEdgeAndRandomScalars) {
    for (const std::string& name : testing_support::genericCurves()) {
        SCOPED_TRACE(name);
        OracleCurve c(name.c_str());
        const CurveEngine* engine = curveEngine(c.key.m_curve);
        ASSERT_NE(engine, nullptr);
        LogBase log;
        Random rnd;
        Mpz n(hexOf(c.n).c_str()), z;
        const int bits = BigNum::mp_count_bits(c.n);
        std::vector<std::string> hexes = {"1", "2", "3"};
        for (unsigned long d : {1ul, 2ul}) mpz_sub_ui(z, n, d), hexes.push_back(hexOf(z));
        for (int b : {bits - 1, 6 * ((bits - 1) / 6), 5 * ((bits - 1) / 5)}) {
            mpz_set_ui(z, 0), mpz_setbit(z, static_cast<mp_bitcnt_t>(b)), mpz_sub_ui(z, z, 1), hexes.push_back(hexOf(z));
            mpz_add_ui(z, z, 1), hexes.push_back(hexOf(z));
        }
        for (int i = 0; i < 4; ++i) rnd.below(n, z), hexes.push_back(hexOf(z));
        mp_int q, u, one;
        BigNum::mp_set(one, 1);
        rnd.below(n, z), BigNum::mp_read_radix(q, hexOf(z).c_str(), 16);
        EccPoint Q, ours, theirs;
        c.mul(c.G, q, Q);
        for (const std::string& hex : hexes) {
            mp_int k;
            BigNum::mp_read_radix(k, hex.c_str(), 16);
            SCOPED_TRACE("k = " + hex);
            c.mul(c.G, k, theirs);
            EXPECT_TRUE(pointMult_tmr(k, c.G, ours, c.ma(), c.p, log) && samePoint(ours, theirs)) << "ladder";
            EXPECT_TRUE(engine->generatorMultiply(k, ours) && samePoint(ours, theirs)) << "k*G";
            c.mul(Q, k, theirs);
            EXPECT_TRUE(engine->multiply(k, Q, ours) && samePoint(ours, theirs)) << "k*Q";
            rnd.below(n, z), BigNum::mp_read_radix(u, hexOf(z).c_str(), 16);
            c.mul2(c.G, k, Q, u, theirs);
            EXPECT_TRUE(c.key.mul2add(c.G, k, Q, u, ours, c.ma(), c.p, log) && samePoint(ours, theirs)) << "mul2add";
        }
        // The ladder with R the base object; mul2add with one scalar zero, a short one, Out = A.
        EccPoint A;
        A.copyFromEccPoint(Q);
        c.mul(Q, u, theirs);
        EXPECT_TRUE(pointMult_tmr(u, A, A, c.ma(), c.p, log) && samePoint(A, theirs)) << "ladder into its base";
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

        // The engine: k >= n is reduced and written back by the generator product; 0 and n
        // have no affine product; u*G + u*G is a doubling and u*G + (n-u)*G infinity.
        mp_int k;
        BigNum::mp_add(c.n, u, k);
        c.mul(c.G, u, theirs);
        EXPECT_TRUE(engine->generatorMultiply(k, ours) && samePoint(ours, theirs) && hexOf(k) == hexOf(u)) << "n + u";
        for (const mp_int* bad : {&zero, &c.n}) {
            BigNum::mp_copy(*bad, k);
            EXPECT_FALSE(engine->generatorMultiply(k, ours) || engine->multiply(k, Q, ours)) << hexOf(k);
        }
        for (unsigned s : {1u, 3u, 63u}) {
            mp_int us, vs, r;
            BigNum::mp_set(us, s), BigNum::mp_set(k, 2 * s);
            c.mul(c.G, k, theirs);
            BigNum::mp_mod(theirs.x, c.n, r);
            bool match = false;
            EXPECT_TRUE(engine->verifyMatch_var(us, us, c.G, r, match) && match) << "u*G + u*G, u = " << s;
            BigNum::mp_sub(c.n, us, vs);
            EXPECT_FALSE(engine->verifyMatch_var(us, vs, c.G, r, match)) << "u*G - u*G, u = " << s;
        }

        // The Jacobian group law in Montgomery form: 2G, 3G, outputs aliasing inputs, P + P
        // through the addition, and P - P, which must not map back to an affine point.
        unsigned rho = 0;
        mp_int mu;
        BigNum::mp_montgomery_setup(c.p, rho);
        BigNum::mp_montgomery_normalization(mu, c.p);
        EccPoint g, two, three, alias, want;
        BigNum::mp_mulmod(c.G.x, mu, c.p, g.x), BigNum::mp_mulmod(c.G.y, mu, c.p, g.y), BigNum::mp_copy(mu, g.z);
        EXPECT_TRUE(pointDouble(g, two, c.ma(), c.p, rho));
        alias.copyFromEccPoint(g);
        EXPECT_TRUE(pointDouble(alias, alias, c.ma(), c.p, rho) && samePoint(alias, two)) << "double in place";
        EXPECT_TRUE(pointAdd(two, g, three, c.ma(), c.p, rho));
        alias.copyFromEccPoint(two);
        EXPECT_TRUE(pointAdd(alias, g, alias, c.ma(), c.p, rho) && samePoint(alias, three)) << "add into P";
        alias.copyFromEccPoint(g);
        EXPECT_TRUE(pointAdd(two, alias, alias, c.ma(), c.p, rho) && samePoint(alias, three)) << "add into Q";
        // 2G + 2G (the same triple: a doubling), G + 2G (Q Jacobian), 2G + G with G's Z left as
        // the integer 1 (Q affine).
        EccPoint viaAdd, qJacobian, qAffine;
        alias.copyFromEccPoint(two);
        EXPECT_TRUE(pointAdd(two, alias, viaAdd, c.ma(), c.p, rho) && pointAdd(g, two, qJacobian, c.ma(), c.p, rho));
        alias.copyFromEccPoint(g);
        BigNum::mp_set(alias.z, 1);
        EXPECT_TRUE(pointAdd(two, alias, qAffine, c.ma(), c.p, rho));
        for (auto [pt, m] : {std::pair<EccPoint*, unsigned>{&two, 2}, {&three, 3}, {&viaAdd, 4}, {&qJacobian, 3},
                             {&qAffine, 3}}) {
            BigNum::mp_set(k, m);
            c.mul(c.G, k, want);
            EXPECT_TRUE(mapPointBack(*pt, c.p, rho) && samePoint(*pt, want)) << m << "G";
        }
        alias.copyFromEccPoint(g);
        BigNum::mp_sub(c.p, alias.y, alias.y);
        EXPECT_TRUE(pointAdd(g, alias, ours, c.ma(), c.p, rho));
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
    ASSERT_TRUE(BigNum::mpint_from_bytes(kA, big.data(), 257));
    EXPECT_FALSE(c.key.mul2add(c.G, kA, c.G, kB, out, c.ma(), c.p, log));
    ASSERT_TRUE(BigNum::mpint_from_bytes(kA, big.data(), 256));
    EXPECT_TRUE(c.key.mul2add(c.G, kA, c.G, kB, out, c.ma(), c.p, log));
    mp_int even;
    BigNum::mp_set(even, 1000);
    EXPECT_FALSE(pointMult_tmr(kB, c.G, out, nullptr, even, log));
}

}  // namespace
}  // namespace vn
