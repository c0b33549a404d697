#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "ecc/generic/LimbCurve.h"
#include "support/gmp_mpz.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::Mpz;

void toLimbs(mpz_srcptr z, Limb* out, int L) {
    for (int i = 0; i < L; ++i) out[i] = 0;
    size_t count = 0;
    mpz_export(out, &count, -1, sizeof(Limb), 0, 0, z);
}

void fromLimbs(const Limb* in, int L, mpz_ptr z) { mpz_import(z, static_cast<size_t>(L), -1, sizeof(Limb), 0, 0, in); }

// Curve name, and whether the products go through the MULX/ADX assembly (skipped where the
// processor or the field size has none) or the portable columns.
class LimbFieldAgainstGmp : public ::testing::TestWithParam<std::tuple<std::string, bool>> {
protected:
    const std::string& curve() const { return std::get<0>(GetParam()); }
    bool adx() const { return std::get<1>(GetParam()); }
};

// Every operation on every field against GMP: mul and sqr give a*b/R mod p for R = 2^(64L),
// add/sub/half the plain residues, also when the output is one of the inputs. The operands
// stress the carries: 0, 1, p - 1, p - 2, 2^64 - 1 and 2^64 (a limb boundary), (p - 1)/2 and
// (p + 1)/2 (where halving's two branches meet), then random residues.
TEST_P(LimbFieldAgainstGmp, EveryOperationMatches) {
    testing_support::OracleCurve c(curve().c_str());
    const int L = fieldLimbs(c.p);
    ASSERT_GT(L, 0);
    const bool ran = withFieldLimbs(L, [&](auto limbs) {
        constexpr int N = decltype(limbs)::value;
        Limb pl[arraySize(N)];
        EXPECT_TRUE(BigNum::mpint_to_limbs(c.p, pl, N));
        LimbField<N> f;
        f.setModulus(pl);
        if (adx() && !f.m_adx) return false;
        f.m_adx = adx();

        Mpz p, rInv, t, want, got, a, b;
        fromLimbs(pl, N, p);
        mpz_set_ui(t, 1);
        mpz_mul_2exp(t, t, 64u * N);
        EXPECT_NE(0, mpz_invert(rInv, t, p));

        std::vector<Mpz*> values;
        std::vector<std::unique_ptr<Mpz>> store;
        auto add = [&](auto&& fill) {
            store.push_back(std::make_unique<Mpz>());
            mpz_ptr z = *store.back();
            fill(z);
            if (mpz_sgn(z) >= 0 && mpz_cmp(z, p) < 0) values.push_back(store.back().get());
        };
        add([](mpz_ptr z) { mpz_set_ui(z, 0); });
        add([](mpz_ptr z) { mpz_set_ui(z, 1); });
        add([&](mpz_ptr z) { mpz_sub_ui(z, p, 1); });
        add([&](mpz_ptr z) { mpz_sub_ui(z, p, 2); });
        add([](mpz_ptr z) { mpz_set_ui(z, ~0ul); });
        add([](mpz_ptr z) { mpz_setbit(z, 64); });
        add([&](mpz_ptr z) { mpz_fdiv_q_2exp(z, p, 1); });
        add([&](mpz_ptr z) { mpz_add_ui(z, p, 1), mpz_fdiv_q_2exp(z, z, 1); });
        gmp_randstate_t rs;
        gmp_randinit_default(rs);
        gmp_randseed_ui(rs, static_cast<unsigned long>(N) * 7919u);
        for (int i = 0; i < 12; ++i) add([&](mpz_ptr z) { mpz_urandomm(z, rs, p); });
        gmp_randclear(rs);

        Limb la[arraySize(N)], lb[arraySize(N)], lo[arraySize(N)];
        for (Mpz* x : values) {
            for (Mpz* y : values) {
                toLimbs(*x, la, N);
                toLimbs(*y, lb, N);
                auto check = [&](const char* op, mpz_srcptr expect) {
                    fromLimbs(lo, N, got);
                    EXPECT_EQ(0, mpz_cmp(got, expect)) << op << " on " << curve();
                };
                f.mul(la, lb, lo);
                mpz_mul(want, *x, *y);
                mpz_mul(want, want, rInv);
                mpz_mod(want, want, p);
                check("mul", want);

                f.add(la, lb, lo);
                mpz_add(want, *x, *y);
                mpz_mod(want, want, p);
                check("add", want);

                f.sub(la, lb, lo);
                mpz_sub(want, *x, *y);
                mpz_mod(want, want, p);
                check("sub", want);

                // In place: the output is the first input.
                f.mul(la, lb, la);
                mpz_mul(want, *x, *y);
                mpz_mul(want, want, rInv);
                mpz_mod(want, want, p);
                std::copy(la, la + N, lo);
                check("mul in place", want);
            }
            toLimbs(*x, la, N);
            f.sqr(la, lo);
            mpz_mul(want, *x, *x);
            mpz_mul(want, want, rInv);
            mpz_mod(want, want, p);
            fromLimbs(lo, N, got);
            EXPECT_EQ(0, mpz_cmp(got, want)) << "sqr on " << curve();

            // half(x) is the residue h with 2h = x mod p.
            f.half(la, la);
            fromLimbs(la, N, got);
            EXPECT_LT(mpz_cmp(got, p), 0) << "half on " << curve();
            mpz_mul_2exp(got, got, 1);
            mpz_mod(got, got, p);
            EXPECT_EQ(0, mpz_cmp(got, *x)) << "half on " << curve();
        }
        return true;
    });
    if (!ran && adx()) GTEST_SKIP() << "no MULX/ADX product for " << curve() << " here";
    EXPECT_TRUE(ran);
}

INSTANTIATE_TEST_SUITE_P(Curves, LimbFieldAgainstGmp,
                         ::testing::Combine(::testing::ValuesIn(testing_support::genericCurves()), ::testing::Bool()),
                         [](const ::testing::TestParamInfo<std::tuple<std::string, bool>>& param) {
                             return std::get<0>(param.param) + (std::get<1>(param.param) ? "_adx" : "_columns");
                         });

}  // namespace
}  // namespace vn
