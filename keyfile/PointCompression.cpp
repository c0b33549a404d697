#include "keyfile/PointCompression.h"

#include "host/Asn1.h"
#include "host/BigNum.h"
#include "host/DerReader.h"
#include "host/ScopedOwners.h"

namespace vn {
namespace keyfile {

namespace {

const char kIdEcPublicKey[] = "1.2.840.10045.2.1";

bool ok(int status) { return status == MP_OKAY; }

bool testBit(const mp_int& a, int bit) { return ((a.get_digit(bit / MP_DIGIT_BIT) >> (bit % MP_DIGIT_BIT)) & 1u) != 0; }

// out = base^e mod m by square-and-multiply. Points are public, so the variable time of this
// loop reveals nothing.
bool powMod(const mp_int& base, const mp_int& e, const mp_int& m, mp_int& out) {
    mp_int acc, b;
    if (!ok(BigNum::mp_mod(base, m, b))) return false;
    BigNum::mp_set(acc, 1);
    for (int i = BigNum::mp_count_bits(e) - 1; i >= 0; --i) {
        if (!ok(BigNum::mp_mulmod(acc, acc, m, acc))) return false;
        if (testBit(e, i) && !ok(BigNum::mp_mulmod(acc, b, m, acc))) return false;
    }
    return ok(BigNum::mp_copy(acc, out));
}

// A square root of a mod p (p an odd prime, 0 <= a < p) into root; false when a is not a
// square (or memory runs out). Every curve here but secp224r1 has p = 3 mod 4, where
// a^((p+1)/4) is the root; secp224r1 (p = 1 mod 4, 2^96 dividing p - 1) needs Tonelli-Shanks.
bool sqrtMod(const mp_int& a, const mp_int& p, mp_int& root) {
    if (a.isZero()) {
        BigNum::mp_zero(root);
        return true;
    }
    mp_int e, check;
    if (testBit(p, 1)) {
        if (!ok(BigNum::mp_set_int(e, 1)) || !ok(BigNum::mp_add(p, e, e)) || !ok(BigNum::mp_div_2(e, e)) ||
            !ok(BigNum::mp_div_2(e, e)) || !powMod(a, e, p, root)) {
            return false;
        }
    } else {
        // p - 1 = q * 2^s with q odd.
        mp_int q, z, c, t, r, pMinus1, one, b;
        BigNum::mp_set(one, 1);
        if (!ok(BigNum::mp_sub(p, one, pMinus1)) || !ok(BigNum::mp_copy(pMinus1, q))) return false;
        int s = 0;
        while (!testBit(q, 0)) {
            if (!ok(BigNum::mp_div_2(q, q))) return false;
            ++s;
        }
        // The smallest non-residue z: Euler's criterion z^((p-1)/2) = -1.
        if (!ok(BigNum::mp_div_2(pMinus1, e))) return false;
        for (unsigned zv = 2;; ++zv) {
            BigNum::mp_set(z, zv);
            if (!powMod(z, e, p, check)) return false;
            if (BigNum::mp_cmp(check, pMinus1) == 0) break;
            if (zv > 1000) return false;  // cannot happen for a prime p
        }
        mp_int qPlus1Half;
        if (!powMod(z, q, p, c) || !powMod(a, q, p, t) || !ok(BigNum::mp_add(q, one, qPlus1Half)) ||
            !ok(BigNum::mp_div_2(qPlus1Half, qPlus1Half)) || !powMod(a, qPlus1Half, p, r)) {
            return false;
        }
        int m = s;
        while (BigNum::mp_cmp_d(t, 1) != 0) {
            // The least i with t^(2^i) = 1; none below m means a is no square.
            int i = 0;
            if (!ok(BigNum::mp_copy(t, check))) return false;
            while (BigNum::mp_cmp_d(check, 1) != 0) {
                if (++i == m || !ok(BigNum::mp_mulmod(check, check, p, check))) return false;
            }
            if (!ok(BigNum::mp_copy(c, b))) return false;
            for (int j = 0; j < m - i - 1; ++j) {
                if (!ok(BigNum::mp_mulmod(b, b, p, b))) return false;
            }
            m = i;
            if (!ok(BigNum::mp_mulmod(b, b, p, c)) || !ok(BigNum::mp_mulmod(t, c, p, t)) ||
                !ok(BigNum::mp_mulmod(r, b, p, r))) {
                return false;
            }
        }
        if (!ok(BigNum::mp_copy(r, root))) return false;
    }
    // The p = 3 mod 4 formula yields a value for non-squares too; only squaring tells.
    return ok(BigNum::mp_mulmod(root, root, p, check)) && BigNum::mp_cmp(check, a) == 0;
}

// Appends a, left-padded with zeros to width bytes; false when it does not fit.
bool appendFixed(const mp_int& a, unsigned width, DataBuffer& out) {
    DataBuffer bytes;
    if (!BigNum::mpint_to_db(a, bytes) || bytes.getSize() > width) return false;
    for (unsigned i = bytes.getSize(); i < width; ++i) {
        if (!out.appendChar(0)) return false;
    }
    return out.append(bytes);
}

enum class Mode { Expand, Compress };

// One public point (the BIT STRING's bytes after its unused-bits byte) converted in the given
// direction; changed tells whether out holds a replacement.
bool convertPoint(Mode mode, const StringBuffer& curveOid, const DataBuffer& point, DataBuffer& out, bool& changed,
                  LogBase& log) {
    changed = false;
    if (mode == Mode::Compress) {
        if (point.getSize() < 3 || point.getSize() % 2 == 0 || point.byteAt(0) != 0x04) return true;
        const unsigned width = (point.getSize() - 1) / 2;
        changed = out.appendChar(static_cast<unsigned char>(0x02 | (point.byteAt(point.getSize() - 1) & 1u))) &&
                  out.append(point.getData2() + 1, width);
        return changed;
    }
    if (!isCompressedPoint(point)) return true;
    if (curveOid.getSize() == 0) {
        log.LogError("The compressed public point has no named curve to be expanded on.");
        return false;
    }
    EccCurve curve;
    StringBuffer oid;
    if (!oid.setString(curveOid) || !curve.loadCurveByOid(oid, log)) return false;
    changed = decompressPoint(curve, point, out, log);
    return changed;
}

// DER of a BIT STRING (no unused bits) holding the bytes.
bool appendBitString(const DataBuffer& bytes, DataBuffer& out) {
    return der::appendHeader(0x03, bytes.getSize() + 1, out) && out.appendChar(0) && out.append(bytes);
}

// The DER of a SEQUENCE-like node with child `index` replaced by ready-made DER.
bool rebuild(_vnAsn1* node, unsigned char ident, int index, const DataBuffer& replacement, DataBuffer& out,
             LogBase& log) {
    DataBuffer body;
    body.setSecure(true);
    for (int i = 0; i < node->numAsnParts(); ++i) {
        const bool appended = i == index ? body.append(replacement) : node->getAsnPart(i)->EncodeToDer(body, false, log);
        if (!appended) return false;
    }
    return der::appendHeader(ident, body.getSize(), out) && out.append(body);
}

// The OID of an AlgorithmIdentifier's named-curve parameters, empty for explicit parameters;
// false when the algorithm is not id-ecPublicKey.
bool ecAlgorithm(_vnAsn1* algId, StringBuffer& curveOid) {
    StringBuffer alg;
    _vnAsn1* first = algId->getAsnPart(0);
    if (first == nullptr || !first->GetOid(alg) || !alg.equals(kIdEcPublicKey)) return false;
    _vnAsn1* params = algId->getAsnPart(1);
    if (params != nullptr && params->isOid()) return params->GetOid(curveOid);
    return true;
}

bool rewriteSpki(_vnAsn1* root, Mode mode, DataBuffer& out, bool& changed, LogBase& log) {
    StringBuffer curveOid;
    _vnAsn1* bits = root->getAsnPart(1);
    if (!ecAlgorithm(root->getAsnPart(0), curveOid) || bits == nullptr || !bits->isBitString()) return true;
    DataBuffer point, converted;
    if (!bits->getAsnContent(point) || !convertPoint(mode, curveOid, point, converted, changed, log)) return false;
    if (!changed) return true;
    DataBuffer bitString;
    return appendBitString(converted, bitString) && rebuild(root, 0x30, 1, bitString, out, log);
}

// ECPrivateKey: version, privateKey, [0] parameters, [1] publicKey. outerCurveOid is the
// PKCS#8 algorithm's curve, which stands in when [0] is left out.
bool rewriteSec1(_vnAsn1* root, const StringBuffer& outerCurveOid, Mode mode, DataBuffer& out, bool& changed,
                 LogBase& log) {
    changed = false;
    StringBuffer curveOid;
    if (!curveOid.setString(outerCurveOid)) return false;
    int publicIndex = -1;
    for (int i = 2; i < root->numAsnParts(); ++i) {
        _vnAsn1* part = root->getAsnPart(i);
        _vnAsn1* inner = part->getAsnPart(0);
        if (part->isContextSpecific(0) && inner != nullptr && inner->isOid()) {
            curveOid.clear();
            if (!inner->GetOid(curveOid)) return false;
        }
        if (part->isContextSpecific(1) && inner != nullptr && inner->isBitString()) publicIndex = i;
    }
    if (publicIndex < 0) return true;
    DataBuffer point, converted;
    if (!root->getAsnPart(publicIndex)->getAsnPart(0)->getAsnContent(point) ||
        !convertPoint(mode, curveOid, point, converted, changed, log)) {
        return false;
    }
    if (!changed) return true;
    DataBuffer bitString, tagged;
    return appendBitString(converted, bitString) && der::appendHeader(0xA1, bitString.getSize(), tagged) &&
           tagged.append(bitString) && rebuild(root, 0x30, publicIndex, tagged, out, log);
}

bool rewritePkcs8(_vnAsn1* root, Mode mode, DataBuffer& out, bool& changed, LogBase& log) {
    StringBuffer curveOid;
    _vnAsn1* octets = root->getAsnPart(2);
    if (!ecAlgorithm(root->getAsnPart(1), curveOid) || octets == nullptr || !octets->isOctetString()) return true;
    DataBuffer inner, innerOut;
    inner.setSecure(true);
    innerOut.setSecure(true);
    if (!octets->getAsnContent(inner)) return false;
    unsigned consumed = 0;
    LogNull quiet;  // a private key that is not SEC1 is the key reader's to judge
    _vnAsn1* sec1 = _vnAsn1::DecodeToAsn(inner.getData2(), inner.getSize(), consumed, quiet);
    RefCountedObjectOwner owner(sec1);
    if (sec1 == nullptr || consumed != inner.getSize() || !sec1->isSequence()) return true;
    if (!rewriteSec1(sec1, curveOid, mode, innerOut, changed, log)) return false;
    if (!changed) return true;
    DataBuffer octetString;
    octetString.setSecure(true);
    return der::appendHeader(0x04, innerOut.getSize(), octetString) && octetString.append(innerOut) &&
           rebuild(root, 0x30, 2, octetString, out, log);
}

// Dispatches on the shape of the structure; unknown shapes come back unchanged.
bool rewriteDer(DataBuffer& der, Mode mode, LogBase& log) {
    unsigned consumed = 0;
    LogNull quiet;
    _vnAsn1* root = _vnAsn1::DecodeToAsn(der.getData2(), der.getSize(), consumed, quiet);
    RefCountedObjectOwner owner(root);
    if (root == nullptr || consumed != der.getSize() || !root->isSequence()) {
        if (mode == Mode::Expand) return true;
        log.LogError("The key DER to compress is malformed.");
        return false;
    }
    _vnAsn1* first = root->getAsnPart(0);
    _vnAsn1* second = root->getAsnPart(1);
    if (first == nullptr || second == nullptr) return true;
    DataBuffer out;
    out.setSecure(true);
    bool changed = false;
    bool done = true;
    if (first->isSequence()) {
        done = rewriteSpki(root, mode, out, changed, log);
    } else if (first->isInteger() && second->isOctetString()) {
        StringBuffer noCurve;
        done = rewriteSec1(root, noCurve, mode, out, changed, log);
    } else if (first->isInteger() && second->isSequence()) {
        done = rewritePkcs8(root, mode, out, changed, log);
    }
    if (!done) return false;
    if (!changed) return true;
    der.secureClear();
    return der.append(out);
}

}  // namespace

bool isCompressedPoint(const DataBuffer& point) {
    return point.getSize() >= 2 && (point.byteAt(0) == 0x02 || point.byteAt(0) == 0x03);
}

bool decompressPoint(const EccCurve& curve, const DataBuffer& in, DataBuffer& x963, LogBase& log) {
    LogContextExitor ctx(log, "decompressPoint");
    x963.clear();
    const unsigned width = curve.fieldBytes > 0 ? static_cast<unsigned>(curve.fieldBytes) : 0;
    if (!isCompressedPoint(in) || in.getSize() != width + 1) {
        log.LogError("The compressed point has the wrong length or first byte for its curve.");
        return false;
    }
    mp_int p, a, b, x, rhs, t, y;
    if (!BigNum::mp_read_radix(p, curve.p.getString(), 16) || !BigNum::mp_read_radix(b, curve.B.getString(), 16) ||
        !BigNum::mpint_from_bytes(x, in.getData2() + 1, static_cast<int>(width))) {
        return false;
    }
    if (curve.hasA) {
        if (!BigNum::mp_read_radix(a, curve.A.getString(), 16)) return false;
    } else if (!curve.name.equals("secp256k1")) {
        // Every other curve without a stored a has a = -3.
        if (!ok(BigNum::mp_set_int(t, 3)) || !ok(BigNum::mp_sub(p, t, a))) return false;
    }
    if (BigNum::mp_cmp(x, p) >= 0) {
        log.LogError("The compressed point's x is not below the field prime.");
        return false;
    }
    // rhs = (x^2 + a) * x + b mod p
    if (!ok(BigNum::mp_mulmod(x, x, p, rhs)) || !ok(BigNum::mp_add(rhs, a, rhs)) ||
        !ok(BigNum::mp_mulmod(rhs, x, p, rhs)) || !ok(BigNum::mp_add(rhs, b, rhs)) ||
        !ok(BigNum::mp_mod(rhs, p, rhs))) {
        return false;
    }
    if (!sqrtMod(rhs, p, y)) {
        log.LogError("the compressed point is not on the curve");
        return false;
    }
    const bool wantOdd = in.byteAt(0) == 0x03;
    if (testBit(y, 0) != wantOdd) {
        if (y.isZero()) {
            log.LogError("the compressed point is not on the curve");
            return false;
        }
        if (!ok(BigNum::mp_sub(p, y, y))) return false;
    }
    if (x963.appendChar(0x04) && x963.append(in.getData2() + 1, width) && appendFixed(y, width, x963)) return true;
    x963.clear();
    return false;
}

bool decompressPointOnCurve(const char* curveName, const DataBuffer& in, DataBuffer& x963, LogBase& log) {
    EccCurve curve;
    return curve.loadCurveByName(curveName, log) && decompressPoint(curve, in, x963, log);
}

bool compressPoint(const EccKey& key, DataBuffer& out) {
    out.clear();
    if (key.m_curve.fieldBytes <= 0 || key.m_pubPoint.x.isZero()) return false;
    const unsigned width = static_cast<unsigned>(key.m_curve.fieldBytes);
    const unsigned char prefix = testBit(key.m_pubPoint.y, 0) ? 0x03 : 0x02;
    if (out.appendChar(prefix) && appendFixed(key.m_pubPoint.x, width, out)) return true;
    out.clear();
    return false;
}

bool uncompressInDer(DataBuffer& der, LogBase& log) {
    LogContextExitor ctx(log, "uncompressInDer");
    return rewriteDer(der, Mode::Expand, log);
}

bool compressInDer(DataBuffer& der, LogBase& log) {
    LogContextExitor ctx(log, "compressInDer");
    return rewriteDer(der, Mode::Compress, log);
}

}  // namespace keyfile
}  // namespace vn
