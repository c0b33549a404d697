#pragma once
#include <cstdint>

// Constant-time building blocks of the secp256k1 engine.
//
// Secret scalars and nonces pass through this engine, so nothing it does may depend on
// them in a way a timing or cache observer can see: no branch, no loop bound and no memory
// address is ever derived from secret data. Conditions are therefore carried as 0/1 words
// ("flags") and widened to all-ones/all-zeros masks (0 - flag); a conditional operation
// always does the full work and keeps or drops its result with AND/OR through the mask.
// Every comparison below turns into such a flag arithmetically (a borrow bit, a sign bit)
// instead of a compare-and-branch.
//
// An optimising compiler can still see through a mask: when it proves a value is 0 or 1 it
// is free to rewrite "(a & m) | (b & ~m)" back into a branch or a cmov of its choosing.
// ctBarrier hides the value from the optimiser with an empty asm statement that claims to
// modify it, so the mask arithmetic survives as written. The valgrind check in the tests
// (secret operands marked undefined) confirms that no conditional jump survives.

namespace vn {
namespace ct {

inline std::uint32_t ctBarrier(std::uint32_t v) {
#if defined(__GNUC__) || defined(__clang__)
    __asm__ volatile("" : "+r"(v));
#endif
    return v;
}

// All ones for flag 1, all zeros for flag 0.
inline std::uint32_t mask(std::uint32_t flag) { return ctBarrier(0u - flag); }

// 1 when v is zero, else 0.
inline std::uint32_t isZero(std::uint32_t v) { return ((v | (0u - v)) >> 31) ^ 1u; }

// 1 when a equals b, else 0.
inline std::uint32_t isEqual(std::uint32_t a, std::uint32_t b) { return isZero(a ^ b); }

// 1 when a < b (unsigned), else 0: the borrow of a 64-bit subtraction.
inline std::uint32_t isLess(std::uint32_t a, std::uint32_t b) {
    return static_cast<std::uint32_t>((static_cast<std::uint64_t>(a) - b) >> 63);
}

// a when flag is 1, b when flag is 0.
inline std::uint32_t select(std::uint32_t flag, std::uint32_t a, std::uint32_t b) {
    const std::uint32_t m = mask(flag);
    return (a & m) | (b & ~m);
}

}  // namespace ct
}  // namespace vn
