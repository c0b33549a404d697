#include <cstdio>

#include "ecc/curves/EccCurve.h"
#include "host/DataBuffer.h"
#include "host/LogBase.h"

int main() {
    vn::EccCurve curve;
    vn::LogBase log;
    if (!curve.loadCurveByName("P-256", log)) {
        std::fputs(log.render().c_str(), stderr);
        return 1;
    }
    std::printf("%s %s\n", curve.name.getString(), curve.oid.getString());
    return curve.fieldBytes == 32 ? 0 : 1;
}
