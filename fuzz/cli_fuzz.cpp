// The tool's input detection: every form it recognises, from the bytes alone. The first byte
// picks the curve hint (none, or one of the named curves); the rest is the file.
#include "FuzzCommon.h"
#include "keyfile/KeyReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const int hintIndex = data[0] % (vn::kNamedCurveCount + 1);
    vn::keyfile::ReadOptions options;
    options.curveHint = hintIndex == 0 ? "" : vn::namedCurveAt(hintIndex - 1).name;
    vn::DataBuffer input;
    fuzz::fill(input, data + 1, size - 1);
    vn::LogNull log;
    vn::EccKey key;
    std::string form;
    if (!vn::keyfile::readKey(input, options, key, form, log)) {
        fuzz::checkFailedLoad(key, "readKey");
        return 0;
    }
    if (!fuzz::checkDerRoundTrip(key)) return 0;
    return 0;
}
