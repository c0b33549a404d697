#pragma once
// Internal helpers shared by the operations that fill a key from outside data.

#include "ecc/EccKey.h"

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

// A private key of zero is no key: every signature it made would reveal nothing but be
// forgeable, and its exports have no scalar to write. Writes an error line for zero.
inline bool privateScalarIsUsable(const mp_int& k, LogBase& log) {
    if (!k.isZero()) return true;
    log.LogError("Private key is zero.");
    return false;
}

}  // namespace vn
