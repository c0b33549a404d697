#include "ecc/SigningSupport.h"

#include "host/AsnItem.h"
#include "host/BigNum.h"

namespace vn {

unsigned int eccEffectiveDigestLength(int fieldBytes, unsigned int inlen) {
    if (fieldBytes < 64 && inlen > static_cast<unsigned int>(fieldBytes)) return static_cast<unsigned int>(fieldBytes);
    return inlen;
}

bool appendLeftPadded(const mp_int& v, unsigned int width, DataBuffer& out) {
    DataBuffer bytes;
    bytes.setSecure(out.isSecure());
    if (!BigNum::mpint_to_db(v, bytes)) return false;
    for (unsigned int i = bytes.getSize(); i < width; ++i) {
        if (!out.appendChar(0)) return false;
    }
    return out.append(bytes);
}

bool encodeDerSignature(mp_int& r, mp_int& s, DataBuffer& sig, LogBase& log) {
    vn_asnItem seq;
    seq.newSequence();
    if (!seq.appendUnsignedInt(r, log) || !seq.appendUnsignedInt(s, log)) return false;
    bool ok = DerCodec::itemToDer(seq, sig);
    if (!ok) log.LogError("Failed to encode final ASN.1");
    if (log.m_verbose) log.LogDataLong("eccAsnSigLen", static_cast<long>(sig.getSize()));
    return ok;
}

}  // namespace vn
