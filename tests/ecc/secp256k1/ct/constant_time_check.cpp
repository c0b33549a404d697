// Constant-time check of the secp256k1 engine, run under valgrind's memcheck.
//
// Secret inputs (scalars, nonces, the operands of the inverse and of the order product)
// are marked undefined. Memcheck then reports every conditional jump and every memory
// address that depends on them, exactly as it would for uninitialised memory, so a clean
// run means no branch and no table index follows the secrets. Results are marked defined
// again before they are compared with a run on unmarked inputs.
//
// Run outside valgrind the client requests are no-ops and only the results are checked.

#include <valgrind/memcheck.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "ecc/secp256k1/OrderArithmetic.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "ecc/secp256k1/PointMultiplication.h"

namespace {

using namespace vn;

template <typename... T>
void makeSecret(T&... v) {
    const std::pair<void*, std::size_t> blocks[] = {{&v, sizeof v}...};
    for (const auto& b : blocks) VALGRIND_MAKE_MEM_UNDEFINED(b.first, b.second);
}

int failures = 0;

template <typename T>
void expectSame(T result, const T& expected, const char* what) {
    VALGRIND_MAKE_MEM_DEFINED(&result, sizeof result);
    if (std::memcmp(&result, &expected, sizeof result) != 0) std::fprintf(stderr, "mismatch: %s\n", what), ++failures;
}

const char* const kScalars[] = {"C0FFEE0123456789ABCDEF0011223344556677889900AABBCCDDEEFF10203040",
                                "0000000000000000000000000000000000000000000000000000000000000000",
                                "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEBAAEDCE6AF48A03BBFD25E8CD0364141",
                                "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF",
                                "0000000000000000000000000000000000000000000000000000000000000008"};

// The products of key generation, signing (the generator table), key agreement (odd
// windows) and the word engine's multiplyPt with normalization and compression, with the
// scalar secret; the second round makes the base point secret too, as a peer's point is.
void checkPoints() {
    for (const char* hex : kScalars) {
        _vnUnsigned256 sk(hex);
        _vnCurvePt expected = _vnCurvePt::m_s_G;
        expected.multiplyPt(sk), expected.normalizePt();
        makeSecret(sk);
        _vnPt64 product;
        multiplyGenerator(sk, product);
        expectSame(pt64::toNormalizedCurvePt(product), expected, "multiplyGenerator");
        for (int secretBase = 0; secretBase < 2; ++secretBase) {
            _vnCurvePt p = _vnCurvePt::m_s_G;
            _vnPt64 base = pt64::fromCurvePt(p);
            if (secretBase != 0) makeSecret(p, base);
            p.multiplyPt(sk), p.normalizePt();
            unsigned char compressed[33];
            p.toCompressedPoint(compressed);
            expectSame(p, expected, "multiplyPt / normalizePt");
            multiplyPointOddWindows(base, sk, product);
            expectSame(pt64::toNormalizedCurvePt(product), expected, "multiplyPointOddWindows");
        }
    }
}

void checkField() {
    const _vnFieldElement a0 = _vnCurvePt::m_s_G.x, b0 = _vnCurvePt::m_s_G.y;
    const _vnUnsigned256 big("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC30");
    _vnFieldElement e = a0, s = a0, b = b0;
    _vnUnsigned256 raw = big;
    makeSecret(s, b, raw);

    e.add(b0), s.add(b), expectSame(s, e, "field add");
    e.subtract(b0), s.subtract(b), expectSame(s, e, "field subtract");
    e.multiply2(), s.multiply2(), expectSame(s, e, "field multiply2");
    e.multiply(b0), s.multiply(b), expectSame(s, e, "field multiply");
    e.square(), s.square(), expectSame(s, e, "field square");
    e.reciprocal(), s.reciprocal(), expectSame(s, e, "field reciprocal");
    expectSame(_vnFieldElement(raw), _vnFieldElement(big), "field reduction");

    const std::uint32_t ef = e.equalFlag(a0), sf = s.equalFlag(a0);
    expectSame(sf, ef, "field equality");
    e.replace(a0, 1), s.replace(a0, sf ^ 1u), expectSame(s, e, "field replace");
}

void checkIntegers() {
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;
    const _vnUnsigned256 x0("7A1B2C3D4E5F60718293A4B5C6D7E8F90A1B2C3D4E5F60718293A4B5C6D7E8F9"),
        y0("F0E1D2C3B4A5968778695A4B3C2D1E0FF0E1D2C3B4A5968778695A4B3C2D1E0F"),
        r0("1A2B3C4D5E6F708192A3B4C5D6E7F8091A2B3C4D5E6F708192A3B4C5D6E7F809");

    // Secret copies of the operands; the e* twins run the same operations in the open.
    _vnUnsigned256 s = x0, inv = x0, a = x0, b = y0, sx = x0, sy = y0, s2;
    _vnUnsigned256 e = x0, ea = x0, eb = y0, ex = x0, expectedS;
    makeSecret(s, inv, a, b, sx, sy);

    // The inverse modulo the order, bit-serial and Montgomery, as used for nonces.
    e.reciprocal(n), s.reciprocal(n), expectSame(s, e, "reciprocal mod n");
    reciprocalModOrderMont(inv), expectSame(inv, e, "reciprocalModOrderMont");

    // Masked primitives with secret operands and secret flags.
    const std::uint32_t flag = a.lessFlag(b), eflag = ea.lessFlag(eb);
    ea.add(eb, eflag), a.add(b, flag), expectSame(a, ea, "add");
    ea.subtract(eb, eflag), a.subtract(b, flag), expectSame(a, ea, "subtract");
    ea.shiftRight1(eflag), a.shiftRight1(flag), expectSame(a, ea, "shiftRight1");
    ea.swap(eb, eflag), a.swap(b, flag), expectSame(a, ea, "swap");
    expectSame(flag, eflag, "lessFlag");

    // The signer's s with nonce and key secret; the order product with both operands secret,
    // then with x and y the same object.
    signatureS(x0, y0, r0, y0, expectedS), signatureS(sx, sy, r0, y0, s2), expectSame(s2, expectedS, "signatureS");
    multiplyModOrder(ex, y0), multiplyModOrder(sx, sy), expectSame(sx, ex, "multiplyModOrder");
    multiplyModOrder(ex, ex), multiplyModOrder(sx, sx), expectSame(sx, ex, "multiplyModOrder squaring");
}

}  // namespace

int main() {
    checkIntegers();
    checkField();
    checkPoints();
    if (failures != 0) return std::fprintf(stderr, "%d mismatches\n", failures), 1;
    std::printf("secp256k1 constant-time check: %s\n",
                RUNNING_ON_VALGRIND ? "ran under valgrind" : "not under valgrind (results only)");
    return 0;
}
