// Which instruction-set routes the digests may take on this processor, asked once per process.

#include "host/HashFunctions.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <cpuid.h>
#endif

namespace vn {
namespace hashfn {

#if defined(__x86_64__) && defined(__GNUC__)

namespace {

struct Features {
    bool shaNi = false;
    bool avx2 = false;
};

Features probe() {
    Features f;
    unsigned a = 0, b = 0, c1 = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c1, &d) == 0) return f;
    unsigned b7 = 0, c7 = 0;
    if (__get_cpuid_count(7, 0, &a, &b7, &c7, &d) == 0) return f;
    const bool ssse3 = (c1 >> 9) & 1u, sse41 = (c1 >> 19) & 1u, osxsave = (c1 >> 27) & 1u;
    f.shaNi = ssse3 && sse41 && ((b7 >> 29) & 1u);
    // AVX2 also needs the operating system to save the YMM registers: XCR0 bits 1 and 2.
    if (osxsave) {
        unsigned lo = 0, hi = 0;
        __asm__("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
        f.avx2 = (lo & 6u) == 6u && ((b7 >> 5) & 1u) && ((b7 >> 8) & 1u);
    }
    return f;
}

const Features& features() {
    static const Features f = probe();
    return f;
}

}  // namespace

bool shaNiAvailable() { return features().shaNi; }
bool avx2Available() { return features().avx2; }

#else

bool shaNiAvailable() { return false; }
bool avx2Available() { return false; }

// Never chosen here; defined so that the dispatch links on every target.
void sha1BlocksShaNi(std::uint32_t h[5], const unsigned char* blocks, std::size_t count) {
    sha1Blocks(h, blocks, count);
}
void sha256BlocksShaNi(std::uint32_t h[8], const unsigned char* blocks, std::size_t count) {
    sha256Blocks(h, blocks, count);
}
void sha512BlocksAvx2(std::uint64_t h[8], const unsigned char* blocks, std::size_t count) {
    sha512Blocks(h, blocks, count);
}

#endif

}  // namespace hashfn
}  // namespace vn
