#include <cstring>

#include "ecc/curves/EccCurve.h"

// The curve's names in the vocabularies of SSH and PuTTY.

namespace vn {

namespace {

struct NamePair {
    const char* key;
    const char* value;
};

const NamePair kSshNames[] = {
    {"secp256r1", "nistp256"}, {"secp224r1", "nistp224"}, {"secp384r1", "nistp384"},
    {"secp521r1", "nistp521"}, {"secp256k1", "nistk256"},
};

// secp160r1 has no PuTTY key type, so it is absent here on purpose.
const NamePair kPpkTypes[] = {
    {"1.2.840.10045.3.1.7", "ecdsa-sha2-nistp256"},
    {"1.3.132.0.34", "ecdsa-sha2-nistp384"},
    {"1.3.132.0.35", "ecdsa-sha2-nistp521"},
    {"1.3.132.0.10", "ecdsa-sha2-secp256k1"},
    {"1.2.840.10045.3.1.1", "ecdsa-sha2-nistp192"},
    {"1.3.132.0.33", "ecdsa-sha2-nistp224"},
    {"1.3.36.3.3.2.8.1.1.1", "ecdsa-sha2-brainpoolP160r1"},
    {"1.3.36.3.3.2.8.1.1.3", "ecdsa-sha2-brainpoolP192r1"},
    {"1.3.36.3.3.2.8.1.1.5", "ecdsa-sha2-brainpoolP224r1"},
    {"1.3.36.3.3.2.8.1.1.7", "ecdsa-sha2-brainpoolP256r1"},
    {"1.3.36.3.3.2.8.1.1.9", "ecdsa-sha2-brainpoolP320r1"},
    {"1.3.36.3.3.2.8.1.1.11", "ecdsa-sha2-brainpoolP384r1"},
    {"1.3.36.3.3.2.8.1.1.13", "ecdsa-sha2-brainpoolP512r1"},
};

}  // namespace

const char* EccCurve::puttyCurveName() const {
    for (const NamePair& row : kSshNames) {
        if (name.equals(row.key)) return row.value;
    }
    // Curves without a short SSH name of their own (and an empty record) answer nistp256,
    // which is what readers of this field have always been given.
    return "nistp256";
}

bool EccCurve::getPpkType(StringBuffer& out, LogBase& log) const {
    LogContextExitor ctx(log, "getPpkType");
    for (const NamePair& row : kPpkTypes) {
        if (oid.equals(row.key)) return out.append(row.value);
    }
    log.LogError("Unsupported ecdsa curve.");
    return false;
}

}  // namespace vn
