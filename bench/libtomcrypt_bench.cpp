// libtomcrypt with libtommath beside our generic engine: Montgomery-form Jacobian arithmetic,
// a timing-resistant ladder and Shamir's trick, the same family of algorithms, so the
// like-for-like peer. libtomcrypt 1.18 knows only curves with a = -3; for the Brainpool r1
// curves it runs on their RFC 5639 twists t1, which have the same prime field and the same
// group order (a = -3 through an isomorphism), so the same arithmetic cost. The domain
// parameters are taken from OpenSSL's built-in tables.

#ifdef ECCKEY_HAVE_LIBTOMCRYPT

#define LTM_DESC
#include <benchmark/benchmark.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>
#include <tomcrypt.h>

#include <string>
#include <vector>

namespace {

const unsigned char kDigest[32] = {0x9F, 0x86, 0xD0, 0x81, 0x88, 0x4C, 0x7D, 0x65, 0x9A, 0x2F, 0xEA,
                                   0xA0, 0xC5, 0x5A, 0xD0, 0x15, 0xA3, 0xBF, 0x4F, 0x1B, 0x2B, 0x0B,
                                   0x82, 0x2C, 0xD1, 0x5D, 0x6C, 0x15, 0xB0, 0xF0, 0x0A, 0x08};

struct TomCurve {
    const char* label;  // our curve whose cost this stands for
    int nid;            // the a = -3 curve libtomcrypt runs
};

const TomCurve kTomCurves[] = {
    {"secp256r1", NID_X9_62_prime256v1},
    {"secp384r1", NID_secp384r1},
    {"secp521r1", NID_secp521r1},
    {"brainpoolP256r1", NID_brainpoolP256t1},
    {"brainpoolP384r1", NID_brainpoolP384t1},
    {"brainpoolP512r1", NID_brainpoolP512t1},
};
constexpr int kTomCurveCount = static_cast<int>(sizeof kTomCurves / sizeof kTomCurves[0]);

std::string hexOf(const BIGNUM* v) {
    char* h = BN_bn2hex(v);
    std::string s(h);
    OPENSSL_free(h);
    return s;
}

// Curve parameters as libtomcrypt wants them: hexadecimal text that lives as long as the set.
struct TomParams {
    explicit TomParams(int nid) {
        EC_GROUP* g = EC_GROUP_new_by_curve_name(nid);
        BIGNUM *p = BN_new(), *a = BN_new(), *b = BN_new(), *x = BN_new(), *y = BN_new();
        EC_GROUP_get_curve(g, p, a, b, nullptr);
        EC_POINT_get_affine_coordinates(g, EC_GROUP_get0_generator(g), x, y, nullptr);
        prime = hexOf(p);
        B = hexOf(b);
        order = hexOf(EC_GROUP_get0_order(g));
        Gx = hexOf(x);
        Gy = hexOf(y);
        set.size = static_cast<int>((BN_num_bits(p) + 7) / 8);
        set.name = "bench";
        set.prime = prime.c_str();
        set.B = B.c_str();
        set.order = order.c_str();
        set.Gx = Gx.c_str();
        set.Gy = Gy.c_str();
        BN_free(p);
        BN_free(a);
        BN_free(b);
        BN_free(x);
        BN_free(y);
        EC_GROUP_free(g);
    }
    std::string prime, B, order, Gx, Gy;
    ltc_ecc_set_type set{};
};

struct TomSetup {
    TomSetup() {
        ltc_mp = ltm_desc;
        register_prng(&sprng_desc);
        prng = find_prng("sprng");
    }
    int prng;
};

int tomPrng() {
    static TomSetup setup;
    return setup.prng;
}

struct TomKeys {
    explicit TomKeys(int nid) : params(nid) {
        wprng = tomPrng();
        ok = ecc_make_key_ex(nullptr, wprng, &key, &params.set) == CRYPT_OK &&
             ecc_make_key_ex(nullptr, wprng, &peer, &params.set) == CRYPT_OK;
        unsigned long len = sizeof sig;
        ok = ok && ecc_sign_hash(kDigest, sizeof kDigest, sig, &len, nullptr, wprng, &key) == CRYPT_OK;
        sigLen = len;
    }
    ~TomKeys() {
        ecc_free(&key);
        ecc_free(&peer);
    }
    TomParams params;
    int wprng;
    ecc_key key{}, peer{};
    unsigned char sig[160];
    unsigned long sigLen = 0;
    bool ok = false;
};

void BM_libtomcrypt_keygen(benchmark::State& state) {
    const TomCurve& c = kTomCurves[state.range(0)];
    TomParams params(c.nid);
    const int wprng = tomPrng();
    for (auto _ : state) {
        ecc_key k;
        benchmark::DoNotOptimize(ecc_make_key_ex(nullptr, wprng, &k, &params.set));
        ecc_free(&k);
    }
    state.SetLabel(c.label);
}

void BM_libtomcrypt_sign(benchmark::State& state) {
    const TomCurve& c = kTomCurves[state.range(0)];
    TomKeys k(c.nid);
    unsigned char sig[160];
    for (auto _ : state) {
        unsigned long len = sizeof sig;
        benchmark::DoNotOptimize(ecc_sign_hash(kDigest, sizeof kDigest, sig, &len, nullptr, k.wprng, &k.key));
    }
    state.SetLabel(k.ok ? c.label : "FAILED");
}

void BM_libtomcrypt_verify(benchmark::State& state) {
    const TomCurve& c = kTomCurves[state.range(0)];
    TomKeys k(c.nid);
    int stat = 0;
    for (auto _ : state) {
        ecc_verify_hash(k.sig, k.sigLen, kDigest, sizeof kDigest, &stat, &k.key);
        benchmark::DoNotOptimize(stat);
    }
    state.SetLabel(k.ok && stat == 1 ? c.label : "INVALID");
}

void BM_libtomcrypt_ecdh(benchmark::State& state) {
    const TomCurve& c = kTomCurves[state.range(0)];
    TomKeys k(c.nid);
    unsigned char out[80];
    for (auto _ : state) {
        unsigned long len = sizeof out;
        benchmark::DoNotOptimize(ecc_shared_secret(&k.key, &k.peer, out, &len));
    }
    state.SetLabel(k.ok ? c.label : "FAILED");
}

BENCHMARK(BM_libtomcrypt_keygen)->DenseRange(0, kTomCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_libtomcrypt_sign)->DenseRange(0, kTomCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_libtomcrypt_verify)->DenseRange(0, kTomCurveCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_libtomcrypt_ecdh)->DenseRange(0, kTomCurveCount - 1)->Unit(benchmark::kMicrosecond);

}  // namespace

#endif  // ECCKEY_HAVE_LIBTOMCRYPT
