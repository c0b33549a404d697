#pragma once
// Shared helpers of the secp256k1 engine tests: GMP as the integer reference, seeded
// operand generators that favour carry-heavy words, and hex shorthands.

#include <gmp.h>

#include <cstdint>
#include <random>
#include <string>

#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/FieldElement.h"
#include "ecc/secp256k1/Unsigned256.h"
#include "support/gmp_mpz.h"

namespace k1test {

using vn::_vnCurvePt;
using vn::_vnFieldElement;
using vn::_vnUnsigned256;
using vn::s_ONE;
using vn::s_ZERO;

// GMP's integer, also built from a 256-bit value.
struct Mpz : vn::testing_support::Mpz {
    using vn::testing_support::Mpz::Mpz;
    explicit Mpz(const _vnUnsigned256& u) { mpz_import(z, 8, -1, sizeof(std::uint32_t), 0, 0, u.words); }
};

// The low 256 bits of z (z >= 0).
inline _vnUnsigned256 toU256(mpz_srcptr z) {
    Mpz low;
    mpz_fdiv_r_2exp(low, z, 256);
    _vnUnsigned256 u;
    std::size_t count = 0;
    mpz_export(u.words, &count, -1, sizeof(std::uint32_t), 0, 0, low);
    return u;
}

// Hex text of any length up to 64 digits, left-padded with zeros.
inline _vnUnsigned256 U(const std::string& hex) {
    const std::string padded = std::string(64 - hex.size(), '0') + hex;
    return _vnUnsigned256(padded.c_str());
}

inline _vnFieldElement F(const std::string& hex) { return _vnFieldElement(U(hex)); }

inline std::string hexOf(const _vnUnsigned256& u) {
    static const char* digits = "0123456789abcdef";
    std::string s;
    for (int i = 7; i >= 0; --i) {
        for (int sh = 28; sh >= 0; sh -= 4) s += digits[(u.words[i] >> sh) & 15u];
    }
    return s;
}

const char* const kP = "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2F";
const char* const kN = "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEBAAEDCE6AF48A03BBFD25E8CD0364141";

// Random 256-bit values. Half of the words come from a small set of carry-provoking
// patterns (0, all ones, top bit, the words of p and n) so that long carry and borrow
// chains and near-modulus values are common rather than astronomically rare.
class Gen {
public:
    explicit Gen(std::uint64_t seed) : m_rng(seed) {}

    std::uint32_t word() {
        static const std::uint32_t special[] = {0u,          0xFFFFFFFFu, 0x80000000u, 1u,
                                                0xFFFFFFFEu, 0xFFFFFC2Fu, 0xD0364141u, 0x7FFFFFFFu};
        const std::uint64_t r = m_rng();
        if ((r & 1u) != 0) return static_cast<std::uint32_t>(r >> 32);
        return special[(r >> 1) & 7u];
    }

    _vnUnsigned256 u256() {
        _vnUnsigned256 u;
        const bool patterned = (m_rng() & 1u) != 0;
        for (auto& w : u.words) w = patterned ? word() : static_cast<std::uint32_t>(m_rng());
        return u;
    }

    // A value in [0, m), patterned values included.
    _vnUnsigned256 below(const _vnUnsigned256& m) {
        Mpz z(u256());
        Mpz mz(m);
        mpz_mod(z, z, mz);
        return toU256(z);
    }

    std::mt19937_64& rng() { return m_rng; }

private:
    std::mt19937_64 m_rng;
};

}  // namespace k1test
