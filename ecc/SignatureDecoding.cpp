#include "ecc/SignatureDecoding.h"

#include "host/AsnItem.h"
#include "host/BigNum.h"
#include "host/DataBuffer.h"
#include "host/ScopedOwners.h"

namespace vn {

namespace {

// Does the signature have the shape of SEQUENCE { INTEGER, INTEGER } filling it exactly?
// Only the headers are looked at; the decoder proper checks the rest.
bool looksLikeDer(const unsigned char* sig, unsigned int siglen) {
    if (sig == nullptr || siglen < 6 || sig[0] != 0x30) return false;
    unsigned int b1 = sig[1];
    unsigned int stated;
    unsigned int header;
    if (b1 < 0x80) {
        stated = b1;
        header = 2;
    } else {
        stated = ((b1 & 0x7Fu) << 7) | (sig[2] & 0x7Fu);
        header = 3;
    }
    if (stated != siglen - header) return false;
    if (sig[header] != 0x02) return false;
    unsigned int rl = sig[header + 1];
    unsigned int i2 = header + rl + 2;
    if (i2 + 1 >= siglen || sig[i2] != 0x02) return false;
    unsigned int sl = sig[i2 + 1];
    return header + rl + sl + 4 == siglen;
}

bool halvesFromRaw(const unsigned char* sig, unsigned int rBytes, unsigned int sBytes, mp_int& r, mp_int& s) {
    return BigNum::mpint_from_bytes(r, sig, static_cast<int>(rBytes)) &&
           BigNum::mpint_from_bytes(s, sig + rBytes, static_cast<int>(sBytes));
}

}  // namespace

bool unpackDsaSig(const unsigned char* sig, unsigned int siglen, bool useRLen, mp_int& r, mp_int& s, LogBase& log,
                  unsigned int rLen) {
    LogContextExitor ctx(log, "unpackDsaSig");
    bool isAsnSig = looksLikeDer(sig, siglen);
    if (log.m_verbose) {
        log.LogDataLong("siglen", static_cast<long>(siglen));
        log.LogDataBool("isAsnSig", isAsnSig);
        if (siglen <= 600) log.LogDataHex("sig", sig, siglen);
    }

    if (isAsnSig) {
        DataBuffer der;
        der.append(sig, siglen);
        unsigned int consumed = 0;
        vn_asnItem* top = DerCodec::derToItem(der.getData2(), der.getSize(), consumed, log);
        if (top == nullptr) {
            log.LogError("Failed to ASN.1 decode DSA signature");
            return false;
        }
        ObjectOwner owner(top);
        if (!top->isConstructed()) {
            log.LogError("Top-level ASN.1 item is not a constructed item.");
            return false;
        }
        vn_asnItem* rItem = top->getSubItem_doNotDelete(0);
        if (rItem == nullptr) {
            log.LogError("ASN.1 structure is invalid (1)");
            return false;
        }
        if (rItem->getTag() != 2) {
            log.LogError("ASN.1 structure is invalid (2)");
            return false;
        }
        vn_asnItem* sItem = top->getSubItem_doNotDelete(1);
        if (sItem == nullptr) {
            log.LogError("ASN.1 structure is invalid (3)");
            return false;
        }
        if (sItem->getTag() != 2) {
            log.LogError("ASN.1 structure is invalid (4)");
            return false;
        }
        if (!rItem->get_mp(r, log)) return false;
        return sItem->get_mp(s, log);
    }

    // A null pointer with a non-zero length is the caller's mistake; it reads as no size at all.
    if (sig == nullptr) siglen = 0;
    if (useRLen && rLen != 0 && siglen > rLen) return halvesFromRaw(sig, rLen, siglen - rLen, r, s);

    switch (siglen) {
        case 48:
        case 64:
        case 96:
        case 128:
        case 132:
            return halvesFromRaw(sig, siglen / 2, siglen / 2, r, s);
        default:
            break;
    }
    log.LogError("Unexpected size for R,S signature.");
    log.LogDataHex("sig", sig, siglen);
    log.LogDataUint32("siglen", siglen);
    return false;
}

}  // namespace vn
