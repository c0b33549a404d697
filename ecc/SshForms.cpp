// The SSH wire form of an ECDSA public key (RFC 5656 section 3.1), its fingerprints, and
// private keys taken from PuTTY and OpenSSH private blobs. Reading the key files themselves
// is the caller's job; these methods receive the blobs already extracted.

#include "ecc/EccKey.h"
#include "ecc/KeyLoadGuard.h"
#include "host/BigNum.h"
#include "host/Hash.h"
#include "host/SshMessage.h"

namespace vn {

namespace {

const char kKeyTypePrefix[] = "ecdsa-sha2-";

// In an OpenSSH private section the first field is the key type string, whose length is at
// most 36 ("ecdsa-sha2-" and a curve identifier); a PuTTY blob starts with the length of k,
// which is at least 37 on every curve large enough to give a blob of 57 bytes or more.
const unsigned kMinOpenSshSection = 57;
const unsigned kMaxKeyTypeLength = 36;

bool appendSshString(DataBuffer& out, const unsigned char* bytes, unsigned n) {
    return out.appendUint32_be(n) && out.append(bytes, n);
}

bool appendSshString(DataBuffer& out, const char* text) {
    unsigned n = 0;
    while (text[n] != '\0') ++n;
    return appendSshString(out, reinterpret_cast<const unsigned char*>(text), n);
}

}  // namespace

bool EccKey::puttyPublicKeyBlob(DataBuffer& out, LogBase& log) {
    out.clear();
    const char* curveId = m_curve.puttyCurveName();
    StringBuffer keyType;
    if (!keyType.append2(kKeyTypePrefix, curveId)) return false;
    if (!appendSshString(out, keyType.getString()) || !appendSshString(out, curveId)) return false;
    DataBuffer point;
    if (!exportEccPoint(point, log)) return false;
    return SshMessage::pack_db(point, out);
}

bool EccKey::calc_fingerprint_digest(int hashId, DataBuffer& out, LogBase& log) {
    out.clear();
    DataBuffer blob;
    if (!puttyPublicKeyBlob(blob, log)) return false;
    // The digest call only fails for an identifier the host does not know; callers choose
    // the identifier, and an unknown one leaves out empty, which they can see.
    _vnHash::doHash(blob.getData2(), blob.getSize(), hashId, out);
    return true;
}

bool EccKey::calc_fingerprint(StringBuffer& out, LogBase& log) {
    DataBuffer blob;
    if (!puttyPublicKeyBlob(blob, log)) return false;
    unsigned char digest[16];
    _vnMd5 md5;
    md5.digestData(blob, digest);

    out.clear();
    bool ok = out.append2(kKeyTypePrefix, m_curve.puttyCurveName());
    ok = ok && out.append(" ");
    ok = ok && out.append(static_cast<int>(m_curve.fieldBytes * 8));
    ok = ok && out.appendChar(' ');
    ok = ok && DataBuffer::toHexString2(digest, sizeof digest, true, out);
    out.toLowerCase();
    return ok;
}

bool EccKey::loadPrivateFromPuttySsh(const char* curveName, DataBuffer& x963, DataBuffer& privBlob, LogBase& log) {
    LogContextExitor ctx(log, "loadPrivateFromPuttySsh");
    clearEccKey();
    // The key is typed private only once the scalar and the point have both loaded: a key
    // that claims to be private after a failed load would sign with whatever k it has.
    const int keyType = privBlob.getSize() == 0 ? 0 : 1;
    if (!m_curve.loadCurveByName(curveName, log)) return false;

    privBlob.setSecure(true);
    unsigned offset = 0;
    bool openSshSection = false;
    if (privBlob.getSize() >= kMinOpenSshSection) {
        unsigned firstWord = 0;
        unsigned peek = 0;
        openSshSection = SshMessage::parseUint32(privBlob, peek, firstWord) && firstWord <= kMaxKeyTypeLength;
    }

    if (openSshSection) {
        StringBuffer text;
        if (!SshMessage::parseString(privBlob, offset, text)) {
            log.LogError("no long curve name");
            return false;
        }
        log.LogDataSb("curveName", text);
        if (!SshMessage::parseString(privBlob, offset, text)) {
            log.LogError("no alt curve name");
            return false;
        }
        log.LogDataSb("altCurveName", text);
        // The section repeats the public point; the caller's point is the one used.
        DataBuffer embeddedPoint;
        if (!SshMessage::parseBinaryString(privBlob, offset, embeddedPoint, log)) {
            log.LogError("no embedded ecc point");
            return false;
        }
        DataBuffer kBytes;
        kBytes.setSecure(true);
        if (!SshMessage::parseBinaryString(privBlob, offset, kBytes, log)) {
            log.LogError("no private key within ecdsa private key blob");
            return false;
        }
        if (!BigNum::mpint_from_bytes(m_k, kBytes.getData2(), static_cast<int>(kBytes.getSize()))) {
            log.LogError("Failed to parse private key bytes");
            return false;
        }
    } else if (privBlob.getSize() != 0) {
        if (!SshMessage::parseMpInt(privBlob, offset, m_k, log)) {
            log.LogError("Failed to parse private key mp_int");
            return false;
        }
    }

    if (keyType == 1 && !privateScalarIsUsable(m_k, m_curve, log)) return false;
    if (!m_pubPoint.loadEccPoint(x963, log)) {
        log.LogError("Failed to load ECC point");
        return false;
    }
    m_keyType = keyType;
    return true;
}

}  // namespace vn
