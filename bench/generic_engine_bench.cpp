// The generic engine's scalar multiplications beside OpenSSL's EC_POINT_mul on the same
// curves: k*P for a point P other than the generator (so OpenSSL's precomputed generator
// tables do not apply), and u1*G + u2*Q as ECDSA verification computes it.

#include <benchmark/benchmark.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>

#include <memory>
#include <random>
#include <vector>

#include "ecc/EccKey.h"
#include "ecc/generic/ScalarMultiplication.h"
#include "host/BigNum.h"

namespace {

struct CurveCase {
    const char* name;
    int nid;
};

const CurveCase kCurves[] = {
    {"secp256r1", NID_X9_62_prime256v1}, {"secp384r1", NID_secp384r1},       {"secp521r1", NID_secp521r1},
    {"brainpoolP256r1", NID_brainpoolP256r1}, {"brainpoolP512r1", NID_brainpoolP512r1},
};

// Deterministic scalar of the curve's order size (top bit cleared so it is below n).
void scalarBytes(std::vector<unsigned char>& out, std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    out.resize(n);
    for (unsigned char& b : out) b = static_cast<unsigned char>(rng());
    out[0] = static_cast<unsigned char>(out[0] & 0x3F);
    if (out[0] == 0) out[0] = 1;
}

// Everything both sides need: our curve values and points, OpenSSL's group and points.
struct Setup {
    explicit Setup(const CurveCase& c) : group(EC_GROUP_new_by_curve_name(c.nid), EC_GROUP_free) {
        vn::LogNull log;
        key.m_curve.loadCurveByName(c.name, log);
        vn::BigNum::mp_read_radix(p, key.m_curve.p.getString(), 16);
        if (key.m_curve.hasA) vn::BigNum::mp_read_radix(a, key.m_curve.A.getString(), 16);
        vn::BigNum::mp_read_radix(G.x, key.m_curve.Gx.getString(), 16);
        vn::BigNum::mp_read_radix(G.y, key.m_curve.Gy.getString(), 16);
        vn::BigNum::mp_set(G.z, 1);

        std::vector<unsigned char> b;
        std::size_t width = static_cast<std::size_t>(key.m_curve.fieldBytes);
        scalarBytes(b, width, 1);
        vn::BigNum::mpint_from_bytes(q, b.data(), static_cast<int>(b.size()));
        sslQ.reset(BN_bin2bn(b.data(), static_cast<int>(b.size()), nullptr));
        scalarBytes(b, width, 2);
        vn::BigNum::mpint_from_bytes(k1, b.data(), static_cast<int>(b.size()));
        sslK1.reset(BN_bin2bn(b.data(), static_cast<int>(b.size()), nullptr));
        scalarBytes(b, width, 3);
        vn::BigNum::mpint_from_bytes(k2, b.data(), static_cast<int>(b.size()));
        sslK2.reset(BN_bin2bn(b.data(), static_cast<int>(b.size()), nullptr));

        pointMult_tmr(q, G, Q, ma(), p, log);  // Q = q*G, a point other than G
        sslPoint.reset(EC_POINT_new(group.get()));
        EC_POINT_mul(group.get(), sslPoint.get(), sslQ.get(), nullptr, nullptr, nullptr);
    }
    vn::mp_int* ma() { return key.m_curve.hasA ? &a : nullptr; }

    vn::EccKey key;
    vn::mp_int p, a, q, k1, k2;
    vn::EccPoint G, Q;
    std::unique_ptr<EC_GROUP, decltype(&EC_GROUP_free)> group;
    std::unique_ptr<BIGNUM, decltype(&BN_free)> sslQ{nullptr, BN_free}, sslK1{nullptr, BN_free},
        sslK2{nullptr, BN_free};
    std::unique_ptr<EC_POINT, decltype(&EC_POINT_free)> sslPoint{nullptr, EC_POINT_free};
};

void BM_ecckey_pointMult_tmr(benchmark::State& state) {
    Setup s(kCurves[state.range(0)]);
    vn::LogNull log;
    vn::EccPoint r;
    for (auto _ : state) {
        bool ok = pointMult_tmr(s.k1, s.Q, r, s.ma(), s.p, log);
        benchmark::DoNotOptimize(ok);
    }
    state.SetLabel(kCurves[state.range(0)].name);
}

void BM_openssl_point_mul(benchmark::State& state) {
    Setup s(kCurves[state.range(0)]);
    std::unique_ptr<EC_POINT, decltype(&EC_POINT_free)> r(EC_POINT_new(s.group.get()), EC_POINT_free);
    std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> ctx(BN_CTX_new(), BN_CTX_free);
    BIGNUM* x = BN_new();
    for (auto _ : state) {
        EC_POINT_mul(s.group.get(), r.get(), nullptr, s.sslPoint.get(), s.sslK1.get(), ctx.get());
        // Our routine returns affine coordinates; make OpenSSL do the same work.
        EC_POINT_get_affine_coordinates(s.group.get(), r.get(), x, nullptr, ctx.get());
    }
    BN_free(x);
    state.SetLabel(kCurves[state.range(0)].name);
}

void BM_ecckey_mul2add(benchmark::State& state) {
    Setup s(kCurves[state.range(0)]);
    vn::LogNull log;
    vn::EccPoint out;
    for (auto _ : state) {
        bool ok = s.key.mul2add(s.G, s.k1, s.Q, s.k2, out, s.ma(), s.p, log);
        benchmark::DoNotOptimize(ok);
    }
    state.SetLabel(kCurves[state.range(0)].name);
}

void BM_openssl_dual_mul(benchmark::State& state) {
    Setup s(kCurves[state.range(0)]);
    std::unique_ptr<EC_POINT, decltype(&EC_POINT_free)> r(EC_POINT_new(s.group.get()), EC_POINT_free);
    std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> ctx(BN_CTX_new(), BN_CTX_free);
    BIGNUM* x = BN_new();
    for (auto _ : state) {
        EC_POINT_mul(s.group.get(), r.get(), s.sslK1.get(), s.sslPoint.get(), s.sslK2.get(), ctx.get());
        EC_POINT_get_affine_coordinates(s.group.get(), r.get(), x, nullptr, ctx.get());
    }
    BN_free(x);
    state.SetLabel(kCurves[state.range(0)].name);
}

BENCHMARK(BM_ecckey_pointMult_tmr)->DenseRange(0, 4)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_openssl_point_mul)->DenseRange(0, 4)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ecckey_mul2add)->DenseRange(0, 4)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_openssl_dual_mul)->DenseRange(0, 4)->Unit(benchmark::kMicrosecond);

}  // namespace
