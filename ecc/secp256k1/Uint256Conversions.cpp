#include "ecc/secp256k1/Uint256Conversions.h"

#include "host/BigNum.h"
#include "host/SecureWipe.h"

namespace vn {

// Both directions go through a 32-byte big-endian image on the stack; these values are
// often private scalars, so the image is wiped before returning.

bool mp_int_to_uint256(const mp_int& a, _vnUnsigned256& out) {
    const int size = BigNum::mp_unsigned_bin_size(a);
    if (size < 0 || size > 32) return false;
    unsigned char bytes[32] = {};
    if (size > 0 && BigNum::mpint_to_bytes(a, bytes + (32 - size)) != MP_OKAY) {
        secureWipe(bytes, sizeof bytes);
        return false;
    }
    out = _vnUnsigned256(bytes);
    secureWipe(bytes, sizeof bytes);
    return true;
}

void uint256_to_mp_int(const _vnUnsigned256& a, mp_int& out) {
    unsigned char bytes[32];
    a.getBigEndian(bytes);
    BigNum::mpint_from_bytes(out, bytes, 32);
    secureWipe(bytes, sizeof bytes);
}

}  // namespace vn
