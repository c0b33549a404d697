// Compressed points and the key-type namer. The first byte picks the curve the rest is
// decompressed on; the rest is also taken as DER whose public point is expanded and
// compressed again; the whole input goes to the namer of keys of other types.
#include "FuzzCommon.h"
#include "host/Asn1.h"
#include "host/ScopedOwners.h"
#include "keyfile/KeyTypes.h"
#include "keyfile/PointCompression.h"

namespace {

void copy(const vn::DataBuffer& from, vn::DataBuffer& to) {
    to.clear();
    to.append(from);
}

// An expanded point is on the curve, keeps x and the parity asked for, and compresses back to
// the very bytes it came from.
void checkDecompress(const char* curveName, const vn::DataBuffer& in) {
    vn::LogNull log;
    vn::EccCurve curve;
    fuzz::check(curve.loadCurveByName(curveName, log), "a named curve does not load");
    vn::DataBuffer x963;
    if (!vn::keyfile::decompressPoint(curve, in, x963, log)) {
        fuzz::check(x963.getSize() == 0, "failed decompression left bytes in the output");
        return;
    }
    const unsigned width = static_cast<unsigned>(curve.fieldBytes);
    fuzz::check(x963.getSize() == 1 + 2 * width && x963.byteAt(0) == 0x04, "expanded point has the wrong shape");
    vn::EccKey key;
    fuzz::check(key.loadEcPubKeyByCurveAndPoint(curveName, x963, log), "an expanded point does not load");
    fuzz::check(key.isPoint(log), "an expanded point is not on the curve");
    vn::DataBuffer back;
    fuzz::check(vn::keyfile::compressPoint(key, back), "an expanded point does not compress");
    fuzz::check(back.equals(in), "compress after decompress changed the point");
}

// DER the way our own encoder writes it: the only input whose bytes survive a rewrite.
bool isCanonical(const vn::DataBuffer& der) {
    vn::LogNull log;
    unsigned consumed = 0;
    vn::_vnAsn1* root = vn::_vnAsn1::DecodeToAsn(der.getData2(), der.getSize(), consumed, log);
    vn::RefCountedObjectOwner owner(root);
    vn::DataBuffer again;
    return root != nullptr && consumed == der.getSize() && root->EncodeToDer(again, false, log) && again.equals(der);
}

void checkDerRewrite(const vn::DataBuffer& input) {
    vn::LogNull log;
    vn::DataBuffer expanded;
    copy(input, expanded);
    if (!vn::keyfile::uncompressInDer(expanded, log)) {
        fuzz::check(expanded.equals(input), "failed uncompressInDer changed the DER");
        return;
    }
    vn::DataBuffer compressed;
    copy(expanded, compressed);
    if (!vn::keyfile::compressInDer(compressed, log)) {
        fuzz::check(compressed.equals(expanded), "failed compressInDer changed the DER");
        return;
    }
    vn::DataBuffer again;
    copy(compressed, again);
    if (!vn::keyfile::uncompressInDer(again, log)) return;  // an off-curve 04 point compressed to nothing
    // Compressed form is a fixed point of the round trip.
    vn::DataBuffer recompressed;
    copy(again, recompressed);
    fuzz::check(vn::keyfile::compressInDer(recompressed, log), "expanded DER does not compress again");
    fuzz::check(recompressed.equals(compressed), "compress, expand, compress changed the DER");
    // A public key whose point is on its curve comes back byte for byte.
    vn::EccKey key;
    vn::DataBuffer forKey;
    copy(expanded, forKey);
    if (isCanonical(expanded) && key.loadEccDer(forKey, log) && key.m_keyType == 0 && key.isPoint(log)) {
        fuzz::check(again.equals(expanded), "expand after compress did not give the expanded DER back");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vn::DataBuffer whole;
    fuzz::fill(whole, data, size);
    std::string line;
    if (vn::keyfile::nameOtherKeyType(whole, line)) fuzz::check(!line.empty(), "a named key type has no line");
    if (size < 1) return 0;
    vn::DataBuffer rest;
    fuzz::fill(rest, data + 1, size - 1);
    checkDecompress(fuzz::curveFromByte(data[0]), rest);
    checkDerRewrite(rest);
    return 0;
}
