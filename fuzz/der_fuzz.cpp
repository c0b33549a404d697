// loadEccDer: PKCS#8, SEC1 and SubjectPublicKeyInfo, whichever the bytes hold.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vn::DataBuffer der;
    fuzz::fill(der, data, size);
    vn::LogNull log;
    vn::EccKey key;
    if (!key.loadEccDer(der, log)) {
        fuzz::checkFailedLoad(key, "loadEccDer");
        return 0;
    }
    if (!fuzz::checkDerRoundTrip(key)) return 0;
    return 0;
}
