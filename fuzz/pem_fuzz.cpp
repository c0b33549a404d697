// The PEM reader, and the DER loader on whatever body it yields.
#include "FuzzCommon.h"
#include "host/Pem.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = fuzz::text(data, size);
    vn::LogNull log;
    vn::StringBuffer label;
    vn::DataBuffer der;
    if (!vn::PemReader::readFirst(text.c_str(), label, der, log)) {
        // The body may be a private key: a refused block leaves none of it behind.
        fuzz::check(der.getSize() == 0, "failed PEM read left bytes in the output");
        return 0;
    }
    fuzz::check(der.getSize() > 0, "PEM read succeeded with an empty body");
    fuzz::check(der.isSecure(), "PEM body buffer is not marked secure");

    vn::EccKey key;
    if (!key.loadEccDer(der, log)) {
        fuzz::checkFailedLoad(key, "loadEccDer (PEM body)");
        return 0;
    }
    if (!fuzz::checkDerRoundTrip(key)) return 0;

    // The key's own PEM must read back to the DER it came from.
    vn::StringBuffer pem;
    const bool priv = key.m_keyType == 1;
    fuzz::check(priv ? key.toEccPrivateKeyPem(false, pem, log) : key.toEccPublicKeyPem(true, pem, log),
                "a loaded key does not export as PEM");
    vn::StringBuffer label2;
    vn::DataBuffer der2;
    fuzz::check(vn::PemReader::readFirst(pem.getString(), label2, der2, log), "our own PEM does not read back");
    vn::EccKey back;
    fuzz::check(back.loadEccDer(der2, log), "our own PEM body does not load");
    fuzz::checkSameKey(key, back, "PEM");
    return 0;
}
