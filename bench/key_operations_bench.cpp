// Key generation, signing (DER), verification and ECDH per curve, beside OpenSSL's EVP
// operations on the same curve and, for secp256k1, libsecp256k1 where it is installed.

#include <benchmark/benchmark.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/obj_mac.h>

#include <memory>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "ecc/generic/LimbCurve.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/Field4x64.h"
#include "ecc/secp256k1/Field4x64.h"
#include "host/BigNum.h"
#include "host/BigNumCount.h"
#include "host/Prng.h"

#ifdef ECCKEY_HAVE_LIBSECP256K1
#include <secp256k1.h>
#include <secp256k1_ecdh.h>
#endif

namespace {

struct CurveCase {
    const char* name;
    int nid;
};

const CurveCase kCurves[] = {
    {"secp256r1", NID_X9_62_prime256v1},      {"secp384r1", NID_secp384r1},
    {"secp521r1", NID_secp521r1},             {"secp256k1", NID_secp256k1},
    {"brainpoolP256r1", NID_brainpoolP256r1}, {"brainpoolP384r1", NID_brainpoolP384r1},
    {"brainpoolP512r1", NID_brainpoolP512r1},
};
constexpr int kCurveCount = static_cast<int>(sizeof kCurves / sizeof kCurves[0]);

const unsigned char kDigest[32] = {0x9F, 0x86, 0xD0, 0x81, 0x88, 0x4C, 0x7D, 0x65, 0x9A, 0x2F, 0xEA,
                                   0xA0, 0xC5, 0x5A, 0xD0, 0x15, 0xA3, 0xBF, 0x4F, 0x1B, 0x2B, 0x0B,
                                   0x82, 0x2C, 0xD1, 0x5D, 0x6C, 0x15, 0xB0, 0xF0, 0x0A, 0x08};

// In the counting build each of our operations also reports its field multiplications.
struct FieldMulCounter {
    explicit FieldMulCounter(benchmark::State& s) : state(s) {
#ifdef ECCKEY_COUNT_FIELD_MULS
        start = vn::g_fieldMulCount;
#endif
    }
    ~FieldMulCounter() {
#ifdef ECCKEY_COUNT_FIELD_MULS
        if (state.iterations() > 0) {
            state.counters["fmul"] = static_cast<double>(vn::g_fieldMulCount - start) /
                                     static_cast<double>(state.iterations());
        }
#endif
    }
    benchmark::State& state;
    unsigned long long start = 0;
};

struct OurKeys {
    explicit OurKeys(const char* curve) {
        vn::LogNull log;
        key.generateNewKey(vn::StringBuffer(curve), prng, log);
        peer.generateNewKey(vn::StringBuffer(curve), prng, log);
        key.eccSignHash(kDigest, 32, prng, true, sig, log);
    }
    vn::_vnSystemPrng prng;
    vn::EccKey key, peer;
    vn::DataBuffer sig;
};

void BM_ecckey_keygen(benchmark::State& state) {
    const CurveCase& c = kCurves[state.range(0)];
    vn::_vnSystemPrng prng;
    vn::LogNull log;
    vn::StringBuffer name(c.name);
    vn::EccKey key;
    FieldMulCounter counter(state);
    for (auto _ : state) benchmark::DoNotOptimize(key.generateNewKey(name, prng, log));
    state.SetLabel(c.name);
}

void BM_ecckey_sign(benchmark::State& state) {
    const CurveCase& c = kCurves[state.range(0)];
    OurKeys k(c.name);
    vn::LogNull log;
    vn::DataBuffer sig;
    FieldMulCounter counter(state);
    for (auto _ : state) benchmark::DoNotOptimize(k.key.eccSignHash(kDigest, 32, k.prng, true, sig, log));
    state.SetLabel(c.name);
}

void BM_ecckey_verify(benchmark::State& state) {
    const CurveCase& c = kCurves[state.range(0)];
    OurKeys k(c.name);
    vn::LogNull log;
    bool valid = false;
    FieldMulCounter counter(state);
    for (auto _ : state) {
        k.key.eccVerifyHash(k.sig.getData2(), k.sig.getSize(), false, kDigest, 32, valid, log, 0);
        benchmark::DoNotOptimize(valid);
    }
    state.SetLabel(valid ? c.name : "INVALID");
}

void BM_ecckey_ecdh(benchmark::State& state) {
    const CurveCase& c = kCurves[state.range(0)];
    OurKeys k(c.name);
    vn::LogNull log;
    vn::DataBuffer secret;
    FieldMulCounter counter(state);
    for (auto _ : state) benchmark::DoNotOptimize(k.key.sharedSecret(k.peer, secret, log));
    state.SetLabel(c.name);
}

// One field multiplication (or squaring) of each engine on the curve, each result the next
// operand, so the time is a latency: the unit of the cost column.
template <bool Square>
void fieldProduct(benchmark::State& state) {
    const CurveCase& c = kCurves[state.range(0)];
    vn::LogNull log;
    vn::EccKey key;
    key.m_curve.loadCurveByName(c.name, log);
    if (std::string(c.name) == "secp256k1") {
        // The four-limb field every secp256k1 operation runs on.
        vn::_vnFe64 a = vn::fe64::fromField(vn::_vnCurvePt::m_s_G.x);
        const vn::_vnFe64 b = vn::fe64::fromField(vn::_vnCurvePt::m_s_G.y);
        for (auto _ : state) {
            if constexpr (Square) {
                vn::fe64::sqr(a, a);
            } else {
                vn::fe64::mul(a, a, b);
            }
            benchmark::DoNotOptimize(a);
        }
    } else {
        vn::mp_int p, x, y;
        vn::BigNum::mp_read_radix(p, key.m_curve.p.getString(), 16);
        vn::BigNum::mp_read_radix(x, key.m_curve.Gx.getString(), 16);
        vn::BigNum::mp_read_radix(y, key.m_curve.Gy.getString(), 16);
        vn::withFieldLimbs(vn::fieldLimbs(p), [&](auto limbs) {
            constexpr int L = decltype(limbs)::value;
            vn::Limb lp[vn::arraySize(L)], lx[vn::arraySize(L)], ly[vn::arraySize(L)];
            vn::BigNum::mpint_to_limbs(p, lp, L);
            vn::BigNum::mpint_to_limbs(x, lx, L);
            vn::BigNum::mpint_to_limbs(y, ly, L);
            vn::LimbField<L> f;
            f.setModulus(lp);
            for (auto _ : state) {
                if constexpr (Square) {
                    f.sqr(lx, lx);
                } else {
                    f.mul(lx, ly, lx);
                }
                benchmark::DoNotOptimize(lx);
            }
            return true;
        });
    }
    state.SetLabel(c.name);
}
void BM_ecckey_fieldmul(benchmark::State& state) { fieldProduct<false>(state); }
void BM_ecckey_fieldsqr(benchmark::State& state) { fieldProduct<true>(state); }

BENCHMARK(BM_ecckey_fieldmul)->DenseRange(0, kCurveCount - 1);
BENCHMARK(BM_ecckey_fieldsqr)->DenseRange(0, kCurveCount - 1);

using PkeyPtr = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using CtxPtr = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;

PkeyPtr opensslKey(int nid) {
    CtxPtr ctx(EVP_PKEY_CTX_new_id(EVP_PKEY_EC, nullptr), EVP_PKEY_CTX_free);
    EVP_PKEY* key = nullptr;
    EVP_PKEY_keygen_init(ctx.get());
    EVP_PKEY_CTX_set_ec_paramgen_curve_nid(ctx.get(), nid);
    EVP_PKEY_keygen(ctx.get(), &key);
    return PkeyPtr(key, EVP_PKEY_free);
}

void BM_openssl_keygen(benchmark::State& state) {
    const CurveCase& c = kCurves[state.range(0)];
    for (auto _ : state) benchmark::DoNotOptimize(opensslKey(c.nid));
    state.SetLabel(c.name);
}

void BM_openssl_sign(benchmark::State& state) {
    const CurveCase& c = kCurves[state.range(0)];
    PkeyPtr key = opensslKey(c.nid);
    CtxPtr ctx(EVP_PKEY_CTX_new(key.get(), nullptr), EVP_PKEY_CTX_free);
    EVP_PKEY_sign_init(ctx.get());
    std::vector<unsigned char> sig(256);
    for (auto _ : state) {
        size_t len = sig.size();
        benchmark::DoNotOptimize(EVP_PKEY_sign(ctx.get(), sig.data(), &len, kDigest, sizeof kDigest));
    }
    state.SetLabel(c.name);
}

void BM_openssl_verify(benchmark::State& state) {
    const CurveCase& c = kCurves[state.range(0)];
    PkeyPtr key = opensslKey(c.nid);
    CtxPtr ctx(EVP_PKEY_CTX_new(key.get(), nullptr), EVP_PKEY_CTX_free);
    EVP_PKEY_sign_init(ctx.get());
    std::vector<unsigned char> sig(256);
    size_t len = sig.size();
    EVP_PKEY_sign(ctx.get(), sig.data(), &len, kDigest, sizeof kDigest);
    EVP_PKEY_verify_init(ctx.get());
    int ok = 0;
    for (auto _ : state) {
        ok = EVP_PKEY_verify(ctx.get(), sig.data(), len, kDigest, sizeof kDigest);
        benchmark::DoNotOptimize(ok);
    }
    state.SetLabel(ok == 1 ? c.name : "INVALID");
}

void BM_openssl_ecdh(benchmark::State& state) {
    const CurveCase& c = kCurves[state.range(0)];
    PkeyPtr key = opensslKey(c.nid), peer = opensslKey(c.nid);
    CtxPtr ctx(EVP_PKEY_CTX_new(key.get(), nullptr), EVP_PKEY_CTX_free);
    EVP_PKEY_derive_init(ctx.get());
    EVP_PKEY_derive_set_peer(ctx.get(), peer.get());
    std::vector<unsigned char> secret(80);
    for (auto _ : state) {
        size_t len = secret.size();
        benchmark::DoNotOptimize(EVP_PKEY_derive(ctx.get(), secret.data(), &len));
    }
    state.SetLabel(c.name);
}

BENCHMARK(BM_ecckey_keygen)->DenseRange(0, kCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_openssl_keygen)->DenseRange(0, kCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ecckey_sign)->DenseRange(0, kCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_openssl_sign)->DenseRange(0, kCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ecckey_verify)->DenseRange(0, kCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_openssl_verify)->DenseRange(0, kCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ecckey_ecdh)->DenseRange(0, kCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_openssl_ecdh)->DenseRange(0, kCurveCount - 1)->Unit(benchmark::kMicrosecond);

#ifdef ECCKEY_HAVE_LIBSECP256K1
struct Secp256k1Context {
    Secp256k1Context() : ctx(secp256k1_context_create(SECP256K1_CONTEXT_SIGN | SECP256K1_CONTEXT_VERIFY)) {
        for (unsigned i = 0; i < 32; ++i) seckey[i] = static_cast<unsigned char>(i + 1);
        ok = secp256k1_ec_pubkey_create(ctx, &pubkey, seckey) == 1 &&
             secp256k1_ecdsa_sign(ctx, &sig, kDigest, seckey, nullptr, nullptr) == 1;
    }
    ~Secp256k1Context() { secp256k1_context_destroy(ctx); }
    secp256k1_context* ctx;
    unsigned char seckey[32];
    secp256k1_pubkey pubkey;
    secp256k1_ecdsa_signature sig;
    bool ok;
};

void BM_libsecp256k1_keygen(benchmark::State& state) {
    Secp256k1Context s;
    secp256k1_pubkey pub;
    for (auto _ : state) benchmark::DoNotOptimize(secp256k1_ec_pubkey_create(s.ctx, &pub, s.seckey));
}
void BM_libsecp256k1_sign(benchmark::State& state) {
    Secp256k1Context s;
    secp256k1_ecdsa_signature sig;
    for (auto _ : state) benchmark::DoNotOptimize(secp256k1_ecdsa_sign(s.ctx, &sig, kDigest, s.seckey, nullptr, nullptr));
}
void BM_libsecp256k1_verify(benchmark::State& state) {
    Secp256k1Context s;
    for (auto _ : state) benchmark::DoNotOptimize(secp256k1_ecdsa_verify(s.ctx, &s.sig, kDigest, &s.pubkey));
}
void BM_libsecp256k1_ecdh(benchmark::State& state) {
    Secp256k1Context s;
    unsigned char out[32];
    for (auto _ : state) benchmark::DoNotOptimize(secp256k1_ecdh(s.ctx, out, &s.pubkey, s.seckey, nullptr, nullptr));
}
BENCHMARK(BM_libsecp256k1_keygen)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_libsecp256k1_sign)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_libsecp256k1_verify)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_libsecp256k1_ecdh)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
