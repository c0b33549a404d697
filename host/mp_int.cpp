#include "host/mp_int.h"

#include <climits>
#include <cstring>
#include <new>

#include "host/SecureWipe.h"

namespace vn {

mp_int::mp_int() : dp(inlineDigits), used(0), alloc(MP_INLINE_DIGITS), sign(MP_ZPOS) {}

mp_int::~mp_int() {
    // The whole allocation, not just the used digits: a value that shrank leaves its old
    // high digits behind, and private scalars pass through these objects.
    secureWipe(dp, static_cast<std::size_t>(alloc) * sizeof(mp_digit));
    if (dp != inlineDigits) delete[] dp;
}

int mp_int::grow(int n) {
    if (n <= alloc) return MP_OKAY;
    if (n > (INT_MAX - 8) / 2) return MP_MEM;  // the headroom below must not overflow
    // Round up so that a value creeping up digit by digit does not reallocate every time.
    int newAlloc = n + (n >> 1) + 8;
    mp_digit* fresh = new (std::nothrow) mp_digit[static_cast<std::size_t>(newAlloc)];
    if (fresh == nullptr) return MP_MEM;
    std::size_t oldBytes = static_cast<std::size_t>(alloc) * sizeof(mp_digit);
    std::memcpy(fresh, dp, static_cast<std::size_t>(used) * sizeof(mp_digit));
    std::memset(fresh + used, 0, static_cast<std::size_t>(newAlloc - used) * sizeof(mp_digit));
    secureWipe(dp, oldBytes);
    if (dp != inlineDigits) delete[] dp;
    dp = fresh;
    alloc = newAlloc;
    return MP_OKAY;
}

void mp_int::clamp() {
    while (used > 0 && dp[used - 1] == 0) --used;
    if (used == 0) sign = MP_ZPOS;
}

}  // namespace vn
