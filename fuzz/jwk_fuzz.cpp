// JSON parsing followed by loadAnyJwk.
#include "FuzzCommon.h"
#include "host/JsonObject.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = fuzz::text(data, size);
    vn::LogNull log;
    vn::ClsJsonObject json;
    if (!json.load(text.c_str(), log)) {
        fuzz::check(json.numMembers() == 0, "failed JSON load left members");
        return 0;
    }
    vn::EccKey key;
    if (!key.loadAnyJwk(json, log)) {
        fuzz::checkFailedLoad(key, "loadAnyJwk");
        return 0;
    }
    if (!fuzz::checkDerRoundTrip(key)) return 0;

    vn::StringBuffer jwk;
    const bool priv = key.m_keyType == 1;
    fuzz::check(priv ? key.toEccPrivateKeyJwk(jwk, log) : key.toEccPublicKeyJwk(jwk, false, log),
                "a loaded key does not export as JWK");
    vn::ClsJsonObject json2;
    fuzz::check(json2.load(jwk.getString(), log), "our own JWK does not parse");
    vn::EccKey back;
    fuzz::check(back.loadAnyJwk(json2, log), "our own JWK does not load");
    fuzz::checkSameKey(key, back, "JWK");
    return 0;
}
