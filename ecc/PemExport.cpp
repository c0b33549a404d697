// The key as PEM. The flag picks the inner DER: SEC1 or PKCS#8 for the private key (under one
// label), the named-curve or explicit-parameter SubjectPublicKeyInfo for the public key.

#include "ecc/EccKey.h"
#include "host/Pem.h"
#include "host/SecureWipe.h"

namespace vn {

namespace {

// The private-key label, scrambled (StringBuffer::litScram) so that it does not stand in the
// binary as plain text. One label serves both private forms; the DER inside differs.
const char kScrambledPrivateLabel[] = "VX KIREZGV PVB";

}  // namespace

bool EccKey::toEccPrivateKeyPem(bool sec1, StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toEccPrivateKeyPem");
    DataBuffer der;
    der.setSecure(true);
    bool made = sec1 ? toEccPkcs1PrivateKeyDer(der, log) : toEccPkcs8PrivateKeyDer(der, log);
    if (!made) return false;
    char label[sizeof kScrambledPrivateLabel];
    for (std::size_t i = 0; i < sizeof label; ++i) label[i] = kScrambledPrivateLabel[i];
    StringBuffer::litScram(label);
    bool ok = _vnPublicKey::derToPem(label, der, out, log);
    secureWipe(label, sizeof label);
    return ok;
}

bool EccKey::toEccPublicKeyPem(bool namedCurve, StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toEccPublicKeyPem");
    DataBuffer der;
    bool made = namedCurve ? toPublicKeyDer_shortFmt(der, log) : toPublicKeyDer_longFmt(der, log);
    if (!made) return false;
    return _vnPublicKey::derToPem("PUBLIC KEY", der, out, log);
}

}  // namespace vn
