// eccWrapSigAsn_forTls: a DER or raw signature re-encoded as DER.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vn::DataBuffer in, der;
    fuzz::fill(in, data, size);
    vn::LogNull log;
    if (!vn::EccKey::eccWrapSigAsn_forTls(in, 0, der, log)) return 0;
    fuzz::check(der.getSize() > 0, "re-encoding succeeded with nothing");
    // What it writes is DER it reads back unchanged.
    vn::DataBuffer again;
    fuzz::check(vn::EccKey::eccWrapSigAsn_forTls(der, 0, again, log), "our own DER signature does not re-encode");
    fuzz::check(again.equals(der), "re-encoding our own DER signature changed it");
    return 0;
}
