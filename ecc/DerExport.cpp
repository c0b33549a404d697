// The key as DER: SubjectPublicKeyInfo (named curve, or explicit parameters for the curves with
// a template), SEC1 ECPrivateKey, its PKCS#11 reduction, and PKCS#8 PrivateKeyInfo. Every
// output carries the secure flag, public ones too: callers need not know which is which.

#include <cstring>

#include "ecc/EccKey.h"
#include "ecc/curves/ExplicitParameters.h"
#include "host/Asn1.h"
#include "host/BigNum.h"
#include "host/ScopedOwners.h"

namespace vn {

namespace {

const char kIdEcPublicKey[] = "1.2.840.10045.2.1";

// Appends a child to a parent, or fails; the parent owns the child either way.
bool append(_vnAsn1* parent, _vnAsn1* child) { return parent != nullptr && child != nullptr && parent->AppendPart(child); }

// A BIT STRING of the key's public point (X9.63 uncompressed), or null.
_vnAsn1* publicPointBitString(EccKey& key, LogBase& log) {
    DataBuffer point;
    point.setSecure(true);
    if (!key.exportEccPoint(point, log)) return nullptr;
    return _vnAsn1::newBitString(point.getData2(), point.getSize());
}

// SEQUENCE { INTEGER 1, OCTET STRING k } with k padded to the order's length; "k is empty"
// for a key without a scalar. The caller owns the returned root.
_vnAsn1* privateKeyCore(EccKey& key, LogBase& log) {
    DataBuffer kBytes;
    kBytes.setSecure(true);
    if (!BigNum::mpint_to_db(key.m_k, kBytes)) return nullptr;
    if (kBytes.getSize() == 0) {
        log.LogError("k is empty");
        return nullptr;
    }
    unsigned int want = key.m_curve.orderBytes();
    if (kBytes.getSize() < want) {
        unsigned char zeros[80] = {0};
        unsigned int pad = want - kBytes.getSize();
        if (pad > sizeof zeros || !kBytes.prepend(zeros, pad)) return nullptr;
    }
    _vnAsn1* seq = _vnAsn1::newSequence();
    if (seq == nullptr) return nullptr;
    if (!append(seq, _vnAsn1::newInteger(1)) ||
        !append(seq, _vnAsn1::newOctetString(kBytes.getData2(), kBytes.getSize()))) {
        seq->decRefCount();
        return nullptr;
    }
    return seq;
}

}  // namespace

bool EccKey::toPublicKeyDer_shortFmt(DataBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toPublicKeyDer_shortFmt");
    out.clear();
    out.setSecure(true);
    _vnAsn1* root = _vnAsn1::newSequence();
    if (root == nullptr) return false;
    RefCountedObjectOwner owner(root);
    _vnAsn1* algId = _vnAsn1::newSequence();
    if (!append(root, algId) || !append(algId, _vnAsn1::newOid(kIdEcPublicKey)) ||
        !append(algId, _vnAsn1::newOid(m_curve.oid.getString()))) {
        return false;
    }
    if (!append(root, publicPointBitString(*this, log))) return false;
    return root->EncodeToDer(out, false, log);
}

bool EccKey::toPublicKeyDer_longFmt(DataBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toPublicKeyDer");
    out.clear();
    out.setSecure(true);
    const char* base64 = explicitSpkiTemplate(m_curve.name.getString());
    if (base64 == nullptr) return toPublicKeyDer_shortFmt(out, log);

    DataBuffer templ;
    if (!templ.appendEncoded(base64, "base64")) return false;
    unsigned int consumed = 0;
    _vnAsn1* root = _vnAsn1::DecodeToAsn(templ.getData2(), templ.getSize(), consumed, log);
    if (root == nullptr) return false;
    RefCountedObjectOwner owner(root);
    // The template's placeholder point gives way to the key's own.
    _vnAsn1* placeholder = root->getAsnPart(1);
    if (placeholder == nullptr || placeholder->tagNumber() != 3 || !root->deletePart(1)) return false;
    if (!append(root, publicPointBitString(*this, log))) return false;
    return root->EncodeToDer(out, false, log);
}

bool EccKey::toEccPkcs1PrivateKeyDer(DataBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toEccPkcs1PrivateKeyDer");
    out.setSecure(true);
    out.clear();
    _vnAsn1* root = privateKeyCore(*this, log);
    if (root == nullptr) return false;
    RefCountedObjectOwner owner(root);
    _vnAsn1* curveTag = _vnAsn1::newContextSpecificContructed(0);
    if (!append(root, curveTag) || !append(curveTag, _vnAsn1::newOid(m_curve.oid.getString()))) return false;
    if (log.m_options.containsSubstring("EMIT_ECC_PKCS1_PUBKEY")) {
        _vnAsn1* pubTag = _vnAsn1::newContextSpecificContructed(1);
        if (!append(root, pubTag) || !append(pubTag, publicPointBitString(*this, log))) return false;
    }
    return root->EncodeToDer(out, false, log);
}

bool EccKey::toEccPkcs1PrivateKeyDer_forPkcs11(DataBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toEccPkcs1PrivateKeyDer_forPkcs11");
    out.setSecure(true);
    out.clear();
    _vnAsn1* root = privateKeyCore(*this, log);
    if (root == nullptr) return false;
    RefCountedObjectOwner owner(root);
    return root->EncodeToDer(out, false, log);
}

bool EccKey::toEccPkcs8PrivateKeyDer(DataBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "toEccPkcs8PrivateKeyDer");
    out.secureClear();
    out.setSecure(true);
    if (m_keyType != 1) {
        log.LogError("Not a private key.");
        return false;
    }
    _vnAsn1* root = _vnAsn1::newSequence();
    if (root == nullptr) return false;
    RefCountedObjectOwner owner(root);
    _vnAsn1* algId = _vnAsn1::newSequence();
    bool built = append(root, _vnAsn1::newInteger(0)) && append(root, algId) &&
                 append(algId, _vnAsn1::newOid(kIdEcPublicKey)) &&
                 append(algId, _vnAsn1::newOid(m_curve.oid.getString()));
    DataBuffer sec1;
    sec1.setSecure(true);
    if (!toEccPkcs1PrivateKeyDer(sec1, log)) return false;
    if (!built || !append(root, _vnAsn1::newOctetString(sec1.getData2(), sec1.getSize()))) return false;
    if (!addAttributesToPkcs8(*root, log)) return false;
    return root->EncodeToDer(out, false, log);
}

}  // namespace vn
