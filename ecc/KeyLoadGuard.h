#pragma once
// Internal helpers shared by the operations that fill a key from outside data.

#include "ecc/EccKey.h"
#include "host/BigNum.h"

namespace vn {

// A load that fails may leave a key partly filled, but never typed private: a caller that
// ignores the false result would otherwise sign with whatever scalar happens to be there.
// Guard the operation, and pass its result through succeeded() on the way out.
class PrivateTypeGuard {
public:
    explicit PrivateTypeGuard(EccKey& key) : m_key(key) {}
    ~PrivateTypeGuard() {
        if (!m_ok) m_key.m_keyType = 0;
    }
    PrivateTypeGuard(const PrivateTypeGuard&) = delete;
    PrivateTypeGuard& operator=(const PrivateTypeGuard&) = delete;

    bool succeeded(bool ok) {
        m_ok = ok;
        return ok;
    }

private:
    EccKey& m_key;
    bool m_ok = false;
};

// A private scalar from outside must lie in [1, n-1]: zero is no key (its exports have no
// scalar to write), and one of n or more is not the key its bytes claim (the DER reader
// refuses it, so it could not even travel). Writes an error line when it does not.
inline bool privateScalarIsUsable(const mp_int& k, const EccCurve& curve, LogBase& log) {
    if (k.isZero()) {
        log.LogError("Private key is zero.");
        return false;
    }
    mp_int n;
    if (!BigNum::mp_read_radix(n, curve.n.getString(), 16) || BigNum::mp_cmp(k, n) != -1) {
        log.LogError("K is out of range.");
        return false;
    }
    return true;
}

}  // namespace vn
