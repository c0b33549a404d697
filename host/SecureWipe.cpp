#include "host/SecureWipe.h"

#include <cstring>

namespace vn {

void secureWipe(void* p, std::size_t n) {
    if (p == nullptr || n == 0) return;
    std::memset(p, 0, n);
    // The empty asm takes the pointer and clobbers memory, so the compiler must assume the
    // zeros are read and cannot remove the memset.
    __asm__ __volatile__("" : : "r"(p) : "memory");
}

}  // namespace vn
