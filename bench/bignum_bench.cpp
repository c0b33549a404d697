// Big-integer operations at the generic engine's field sizes, each beside GMP's counterpart
// in the same run.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "host/BigNum.h"

#ifdef ECCKEY_HAVE_GMP
#include <gmp.h>
#endif

namespace {

using vn::BigNum;
using vn::mp_int;

// The field primes of P-256, P-384 and P-521, big-endian, from their defining formulas.
std::vector<unsigned char> fieldPrime(int bits) {
    const std::size_t n = static_cast<std::size_t>((bits + 7) / 8);
    std::vector<unsigned char> p(n, 0xFF);
    if (bits == 256) {  // 2^256 - 2^224 + 2^192 + 2^96 - 1
        const unsigned char hi[] = {0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x01};
        for (std::size_t i = 0; i < 8; ++i) p[i] = hi[i];
        for (std::size_t i = 8; i < 20; ++i) p[i] = 0;
    } else if (bits == 384) {  // 2^384 - 2^128 - 2^96 + 2^32 - 1
        p[31] = 0xFE;
        for (std::size_t i = 36; i < 44; ++i) p[i] = 0;
    } else {  // 2^521 - 1
        p[0] = 0x01;
    }
    return p;
}

// Fixed pseudo-random operand below 2^(8*len - 1), so it is below the prime too.
std::vector<unsigned char> operand(std::size_t len, std::uint64_t seed) {
    std::vector<unsigned char> v(len);
    std::uint64_t s = seed * 0x9E3779B97F4A7C15ull + 1;
    for (auto& b : v) {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        b = static_cast<unsigned char>(s >> 24);
    }
    v[0] &= 0x7F;
    if (len == 66) v[0] &= 0x01;
    return v;
}

struct Fixture {
    explicit Fixture(int bits) {
        std::vector<unsigned char> pb = fieldPrime(bits);
        std::vector<unsigned char> xb = operand(pb.size(), 1);
        std::vector<unsigned char> yb = operand(pb.size(), 2);
        BigNum::mpint_from_bytes(p, pb.data(), static_cast<int>(pb.size()));
        BigNum::mpint_from_bytes(x, xb.data(), static_cast<int>(xb.size()));
        BigNum::mpint_from_bytes(y, yb.data(), static_cast<int>(yb.size()));
        BigNum::mp_mul(x, y, xy);
        BigNum::mp_montgomery_setup(p, rho);
#ifdef ECCKEY_HAVE_GMP
        mpz_inits(zp, zx, zy, zxy, zr, nullptr);
        mpz_import(zp, pb.size(), 1, 1, 1, 0, pb.data());
        mpz_import(zx, xb.size(), 1, 1, 1, 0, xb.data());
        mpz_import(zy, yb.size(), 1, 1, 1, 0, yb.data());
        mpz_mul(zxy, zx, zy);
#endif
    }
    ~Fixture() {
#ifdef ECCKEY_HAVE_GMP
        mpz_clears(zp, zx, zy, zxy, zr, nullptr);
#endif
    }
    Fixture(const Fixture&) = delete;
    Fixture& operator=(const Fixture&) = delete;

    mp_int p, x, y, xy, r;
    unsigned rho = 0;
#ifdef ECCKEY_HAVE_GMP
    mpz_t zp, zx, zy, zxy, zr;
#endif
};

void ecckey_mp_mul(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        BigNum::mp_mul(f.x, f.y, f.r);
        benchmark::DoNotOptimize(f.r.dp);
    }
}

void ecckey_mp_sqr(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        BigNum::mp_sqr(f.x, f.r);
        benchmark::DoNotOptimize(f.r.dp);
    }
}

// The reduction works in place, so each round first copies the double-width product in;
// the copy is a few dozen words against a quadratic reduction.
void ecckey_mp_montgomery_reduce(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        BigNum::mp_copy(f.xy, f.r);
        BigNum::mp_montgomery_reduce(f.r, f.p, f.rho);
        benchmark::DoNotOptimize(f.r.dp);
    }
}

void ecckey_mp_mulmod(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        BigNum::mp_mulmod(f.x, f.y, f.p, f.r);
        benchmark::DoNotOptimize(f.r.dp);
    }
}

void ecckey_mp_invmod(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        BigNum::mp_invmod(f.x, f.p, f.r);
        benchmark::DoNotOptimize(f.r.dp);
    }
}

BENCHMARK(ecckey_mp_mul)->Arg(256)->Arg(384)->Arg(521);
BENCHMARK(ecckey_mp_sqr)->Arg(256)->Arg(384)->Arg(521);
BENCHMARK(ecckey_mp_montgomery_reduce)->Arg(256)->Arg(384)->Arg(521);
BENCHMARK(ecckey_mp_mulmod)->Arg(256)->Arg(384)->Arg(521);
BENCHMARK(ecckey_mp_invmod)->Arg(256)->Arg(384)->Arg(521);

#ifdef ECCKEY_HAVE_GMP
void gmp_mpz_mul(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        mpz_mul(f.zr, f.zx, f.zy);
        benchmark::DoNotOptimize(f.zr);
    }
}

void gmp_mpz_sqr(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        mpz_mul(f.zr, f.zx, f.zx);
        benchmark::DoNotOptimize(f.zr);
    }
}

// GMP has no public Montgomery reduction; reducing the same double-width product with
// mpz_mod is the equivalent step.
void gmp_mpz_mod_reduce(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        mpz_mod(f.zr, f.zxy, f.zp);
        benchmark::DoNotOptimize(f.zr);
    }
}

void gmp_mpz_mulmod(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        mpz_mul(f.zr, f.zx, f.zy);
        mpz_mod(f.zr, f.zr, f.zp);
        benchmark::DoNotOptimize(f.zr);
    }
}

void gmp_mpz_invert(benchmark::State& st) {
    Fixture f(static_cast<int>(st.range(0)));
    for (auto _ : st) {
        mpz_invert(f.zr, f.zx, f.zp);
        benchmark::DoNotOptimize(f.zr);
    }
}

BENCHMARK(gmp_mpz_mul)->Arg(256)->Arg(384)->Arg(521);
BENCHMARK(gmp_mpz_sqr)->Arg(256)->Arg(384)->Arg(521);
BENCHMARK(gmp_mpz_mod_reduce)->Arg(256)->Arg(384)->Arg(521);
BENCHMARK(gmp_mpz_mulmod)->Arg(256)->Arg(384)->Arg(521);
BENCHMARK(gmp_mpz_invert)->Arg(256)->Arg(384)->Arg(521);
#endif

}  // namespace
