// Which instruction-set routes the digests may take on this processor, asked once per process.

#include "host/HashFunctions.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <cpuid.h>
#endif

namespace vn {
namespace hashfn {

#if defined(__x86_64__) && defined(__GNUC__)

namespace {

// SSSE3 and SSE4.1: CPUID leaf 1, ECX bits 9 and 19; SHA: leaf 7, EBX bit 29.
bool probeShaNi() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || ((c >> 9) & 1u) == 0 || ((c >> 19) & 1u) == 0) return false;
    if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0) return false;
    return ((b >> 29) & 1u) != 0;
}

}  // namespace

bool shaNiAvailable() {
    static const bool have = probeShaNi();
    return have;
}

#else

bool shaNiAvailable() { return false; }

// Never chosen here; defined so that the dispatch links on every target.
void sha1BlocksShaNi(std::uint32_t h[5], const unsigned char* blocks, std::size_t count) {
    sha1Blocks(h, blocks, count);
}
void sha256BlocksShaNi(std::uint32_t h[8], const unsigned char* blocks, std::size_t count) {
    sha256Blocks(h, blocks, count);
}

#endif

}  // namespace hashfn
}  // namespace vn
