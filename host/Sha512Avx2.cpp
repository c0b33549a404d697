// SHA-384 and SHA-512 for processors with AVX2 and BMI2: the portable rounds compiled again
// for them, so that every rotation is one non-destructive RORX and the choice function an
// ANDN. Chosen at run time, never called where CPUID does not report both.

#if defined(__x86_64__) && defined(__GNUC__)

#include <cstddef>
#include <cstdint>

#include "host/HashFunctions.h"
#include "host/SecureWipe.h"

// Only what follows is compiled for the newer instructions; the headers above stay portable.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,bmi,bmi2"))), apply_to = function)
#else
#pragma GCC target("avx2,bmi,bmi2")
#endif

#include "host/Sha2Core.h"

namespace vn {
namespace hashfn {

void sha512BlocksAvx2(std::uint64_t h[8], const unsigned char* blocks, std::size_t count) {
    sha2::blocks<sha2::Sha512Params>(h, blocks, count);
}

}  // namespace hashfn
}  // namespace vn

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
