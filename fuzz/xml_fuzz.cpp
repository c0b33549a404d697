// XML parsing followed by loadAnyXml.
#include "FuzzCommon.h"
#include "host/Xml.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = fuzz::text(data, size);
    vn::LogNull log;
    vn::ClsXml xml;
    if (!xml.loadXml(text.c_str(), log)) return 0;
    vn::EccKey key;
    if (!key.loadAnyXml(xml, log)) {
        fuzz::checkFailedLoad(key, "loadAnyXml");
        return 0;
    }
    if (!fuzz::checkDerRoundTrip(key)) return 0;

    vn::StringBuffer out;
    const bool priv = key.m_keyType == 1;
    fuzz::check(priv ? key.toEccPrivateKeyXml(out, log) : key.toEccPublicKeyXml(out, log),
                "a loaded key does not export as XML");
    vn::ClsXml xml2;
    fuzz::check(xml2.loadXml(out.getString(), log), "our own XML does not parse");
    vn::EccKey back;
    fuzz::check(back.loadAnyXml(xml2, log), "our own XML does not load");
    fuzz::checkSameKey(key, back, "XML");
    return 0;
}
