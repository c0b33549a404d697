#include <sys/random.h>

#include <cerrno>
#include <cstddef>

#include "host/Prng.h"
#include "host/SecureWipe.h"

namespace vn {

bool _vnSystemPrng::genRandomBytes(unsigned int n, DataBuffer& out, LogBase& log) {
    if (n == 0) return true;
    const unsigned oldSize = out.getSize();
    // Reserve the space up front so the bytes are written straight into the buffer and
    // never sit in a second copy.
    unsigned char zeros[64] = {0};
    for (unsigned left = n; left > 0;) {
        const unsigned chunk = left < sizeof zeros ? left : static_cast<unsigned>(sizeof zeros);
        if (!out.append(zeros, chunk)) {
            out.truncate(oldSize);
            log.LogError("Out of memory for random bytes.");
            return false;
        }
        left -= chunk;
    }
    unsigned char* dst = out.getData2() + oldSize;
    std::size_t done = 0;
    while (done < n) {
        // getrandom returns at most 32 MiB per call and may return less when interrupted.
        const ssize_t got = getrandom(dst + done, n - done, 0);
        if (got < 0) {
            const int err = errno;
            if (err == EINTR) continue;
            secureWipe(dst, done);
            out.truncate(oldSize);
            log.LogError("getrandom failed.");
            log.LogDataLong("errno", err);
            return false;
        }
        done += static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace vn
