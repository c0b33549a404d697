// loadPrivateFromPuttySsh: a curve, an X9.63 point and a private blob (a PuTTY mpint or an
// OpenSSH private section). Input: curve byte, point length byte, the point, then the blob.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const char* curve = fuzz::curveFromByte(data[0]);
    size_t pointLen = data[1];
    data += 2;
    size -= 2;
    if (pointLen > size) pointLen = size;
    vn::DataBuffer x963, blob;
    fuzz::fill(x963, data, pointLen);
    fuzz::fill(blob, data + pointLen, size - pointLen);

    vn::LogNull log;
    vn::EccKey key;
    if (!key.loadPrivateFromPuttySsh(curve, x963, blob, log)) {
        fuzz::checkFailedLoad(key, "loadPrivateFromPuttySsh");
        return 0;
    }
    if (!fuzz::checkDerRoundTrip(key)) return 0;
    return 0;
}
