// The secp256k1 fixed-width engine beside its peers: libsecp256k1's public-key creation
// (when installed) and OpenSSL's generic EC_POINT_mul on the same curve.

#include <benchmark/benchmark.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>

#include <cstdint>
#include <cstring>
#include <random>

#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/Field4x64.h"
#include "ecc/secp256k1/FieldElement.h"
#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "ecc/secp256k1/OrderArithmetic.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "ecc/secp256k1/PointMultiplication.h"
#include "ecc/secp256k1/Unsigned256.h"

#ifdef ECCKEY_HAVE_LIBSECP256K1
#include <secp256k1.h>
#endif

namespace {

using vn::_vnCurvePt;
using vn::_vnFieldElement;
using vn::_vnUnsigned256;

// A fixed pseudo-random scalar below n, the same in every case.
void scalarBytes(unsigned char out[32]) {
    std::mt19937_64 rng(0x5ec9256b1ULL);
    for (int i = 0; i < 32; ++i) out[i] = static_cast<unsigned char>(rng());
    out[0] &= 0x7F;
}

_vnUnsigned256 benchScalar() {
    unsigned char b[32];
    scalarBytes(b);
    return _vnUnsigned256(b);
}

void BM_k1_multiplyPt(benchmark::State& state) {
    const _vnUnsigned256 k = benchScalar();
    for (auto _ : state) {
        _vnCurvePt p = _vnCurvePt::m_s_G;
        p.multiplyPt(k);
        benchmark::DoNotOptimize(p);
    }
}
BENCHMARK(BM_k1_multiplyPt)->Unit(benchmark::kMicrosecond);

// The products key generation and signing (k * G from the table), key agreement (k * P by
// odd windows) and verification (u1 * G + u2 * Q, variable time) run, without the key
// object around them.
void BM_k1_multiplyGenerator(benchmark::State& state) {
    const _vnUnsigned256 k = benchScalar();
    for (auto _ : state) {
        vn::_vnPt64 r;
        vn::multiplyGenerator(k, r);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_k1_multiplyGenerator)->Unit(benchmark::kMicrosecond);

void BM_k1_multiplyPointOddWindows(benchmark::State& state) {
    const _vnUnsigned256 k = benchScalar();
    const vn::_vnPt64 p = vn::pt64::fromCurvePt(_vnCurvePt::m_s_G);
    for (auto _ : state) {
        vn::_vnPt64 r;
        vn::multiplyPointOddWindows(p, k, r);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_k1_multiplyPointOddWindows)->Unit(benchmark::kMicrosecond);

void BM_k1_multiplyTwo_var(benchmark::State& state) {
    const _vnUnsigned256 k = benchScalar();
    _vnUnsigned256 k2 = k;
    vn::multiplyModOrder(k2, k);
    const vn::_vnPt64 p = vn::pt64::fromCurvePt(_vnCurvePt::m_s_G);
    for (auto _ : state) {
        vn::_vnPt64 r;
        vn::multiplyTwo_var(k, k2, p, r);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_k1_multiplyTwo_var)->Unit(benchmark::kMicrosecond);

void BM_k1_normalizePt(benchmark::State& state) {
    _vnCurvePt p = _vnCurvePt::m_s_G;
    p.multiplyPt(benchScalar());
    for (auto _ : state) {
        _vnCurvePt q = p;
        q.normalizePt();
        benchmark::DoNotOptimize(q);
    }
}
BENCHMARK(BM_k1_normalizePt)->Unit(benchmark::kMicrosecond);

void BM_k1_fieldMultiply(benchmark::State& state) {
    _vnFieldElement a = _vnCurvePt::m_s_G.x;
    const _vnFieldElement b = _vnCurvePt::m_s_G.y;
    for (auto _ : state) {
        a.multiply(b);
        benchmark::DoNotOptimize(a);
    }
}
BENCHMARK(BM_k1_fieldMultiply);

// The dedicated squaring, counted as a field multiplication: with both timed, the share of
// an operation's time spent in field products can be given with either unit.
void BM_k1_fieldSquare(benchmark::State& state) {
    _vnFieldElement a = _vnCurvePt::m_s_G.x;
    for (auto _ : state) {
        a.square();
        benchmark::DoNotOptimize(a);
    }
}
BENCHMARK(BM_k1_fieldSquare);

// The 512-round inverse modulo the order, as signing and verification use it.
void BM_k1_reciprocalModOrder(benchmark::State& state) {
    const _vnUnsigned256 k = benchScalar();
    for (auto _ : state) {
        _vnUnsigned256 v = k;
        v.reciprocal(_vnCurvePt::m_s_order);
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_k1_reciprocalModOrder)->Unit(benchmark::kMicrosecond);

void BM_k1_reciprocalModOrderMont(benchmark::State& state) {
    const _vnUnsigned256 k = benchScalar();
    for (auto _ : state) {
        _vnUnsigned256 v = k;
        vn::reciprocalModOrderMont(v);
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_k1_reciprocalModOrderMont)->Unit(benchmark::kMicrosecond);

// The four-limb field product of the scalar multiplications.
void BM_k1_fe64Multiply(benchmark::State& state) {
    vn::_vnFe64 a = vn::fe64::fromField(_vnCurvePt::m_s_G.x);
    const vn::_vnFe64 b = vn::fe64::fromField(_vnCurvePt::m_s_G.y);
    for (auto _ : state) {
        vn::fe64::mul(a, a, b);
        benchmark::DoNotOptimize(a);
    }
}
BENCHMARK(BM_k1_fe64Multiply);

void BM_k1_doublePt(benchmark::State& state) {
    _vnCurvePt p = _vnCurvePt::m_s_G;
    p.multiplyPt(benchScalar());
    for (auto _ : state) {
        p.doublePt();
        benchmark::DoNotOptimize(p);
    }
}
BENCHMARK(BM_k1_doublePt);

void BM_k1_addPt(benchmark::State& state) {
    _vnCurvePt p = _vnCurvePt::m_s_G;
    p.multiplyPt(benchScalar());
    _vnCurvePt q = p;
    q.doublePt();
    for (auto _ : state) {
        p.addPt(q);
        benchmark::DoNotOptimize(p);
    }
}
BENCHMARK(BM_k1_addPt);

void BM_k1_multiplyModOrder(benchmark::State& state) {
    _vnUnsigned256 a = benchScalar();
    const _vnUnsigned256 b(_vnCurvePt::m_s_G.x);
    for (auto _ : state) {
        vn::multiplyModOrder(a, b);
        benchmark::DoNotOptimize(a);
    }
}
BENCHMARK(BM_k1_multiplyModOrder);

void BM_openssl_secp256k1_EC_POINT_mul(benchmark::State& state) {
    EC_GROUP* group = EC_GROUP_new_by_curve_name(NID_secp256k1);
    EC_POINT* r = EC_POINT_new(group);
    BN_CTX* ctx = BN_CTX_new();
    unsigned char b[32];
    scalarBytes(b);
    BIGNUM* k = BN_bin2bn(b, 32, nullptr);
    for (auto _ : state) {
        EC_POINT_mul(group, r, k, nullptr, nullptr, ctx);
        benchmark::DoNotOptimize(r);
    }
    BN_free(k);
    BN_CTX_free(ctx);
    EC_POINT_free(r);
    EC_GROUP_free(group);
}
BENCHMARK(BM_openssl_secp256k1_EC_POINT_mul)->Unit(benchmark::kMicrosecond);

// OpenSSL's general modular product (variable-time) as the reference for the field and
// order products.
void opensslModMul(benchmark::State& state, const char* modulusHex) {
    BN_CTX* ctx = BN_CTX_new();
    BIGNUM* m = nullptr;
    BN_hex2bn(&m, modulusHex);
    unsigned char b[32];
    _vnUnsigned256(_vnCurvePt::m_s_G.x).getBigEndian(b);
    BIGNUM* x = BN_bin2bn(b, 32, nullptr);
    _vnUnsigned256(_vnCurvePt::m_s_G.y).getBigEndian(b);
    BIGNUM* y = BN_bin2bn(b, 32, nullptr);
    BN_mod(x, x, m, ctx);
    BIGNUM* r = BN_new();
    for (auto _ : state) {
        BN_mod_mul(r, x, y, m, ctx);
        benchmark::DoNotOptimize(r);
    }
    BN_free(r);
    BN_free(y);
    BN_free(x);
    BN_free(m);
    BN_CTX_free(ctx);
}

void BM_openssl_BN_mod_mul_p(benchmark::State& state) {
    opensslModMul(state, "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2F");
}
BENCHMARK(BM_openssl_BN_mod_mul_p);

void BM_openssl_BN_mod_mul_n(benchmark::State& state) {
    opensslModMul(state, "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEBAAEDCE6AF48A03BBFD25E8CD0364141");
}
BENCHMARK(BM_openssl_BN_mod_mul_n);

#ifdef ECCKEY_HAVE_LIBSECP256K1
void BM_libsecp256k1_ec_pubkey_create(benchmark::State& state) {
    secp256k1_context* ctx = secp256k1_context_create(SECP256K1_CONTEXT_NONE);
    unsigned char b[32];
    scalarBytes(b);
    secp256k1_pubkey pub;
    for (auto _ : state) {
        benchmark::DoNotOptimize(secp256k1_ec_pubkey_create(ctx, &pub, b));
        benchmark::ClobberMemory();
    }
    secp256k1_context_destroy(ctx);
}
BENCHMARK(BM_libsecp256k1_ec_pubkey_create)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
