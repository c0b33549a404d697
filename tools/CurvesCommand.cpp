#include <cstdio>
#include <string>

#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"
#include "tools/Cli.h"
#include "tools/Commands.h"

namespace vn {
namespace cli {

namespace {

const char kCurvesUsage[] =
    "usage: ecckey curves\n"
    "\n"
    "Lists the fourteen named curves: canonical name, object identifier, field size in bits,\n"
    "coordinate width in bytes, and every other name the curve is accepted by.\n";

int fieldBits(const char* primeHex) {
    mp_int p;
    if (!BigNum::mp_read_radix(p, primeHex, 16)) return 0;
    return BigNum::mp_count_bits(p);
}

}  // namespace

int runCurves(int argc, char** argv, int first) {
    Args args;
    int rc = parseNoArguments("curves", kCurvesUsage, argc, argv, first, args);
    if (rc >= 0) return rc;
    std::printf("%-16s %-22s %5s %5s  %s\n", "name", "oid", "bits", "bytes", "also accepted");
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const NamedCurveParams& c = namedCurveAt(i);
        const CurveAliases& names = curveAliasesAt(i);
        std::string aliases;
        for (const char* const* a = names.equals; *a != nullptr; ++a) {
            if (std::string(*a) == c.name) continue;
            if (!aliases.empty()) aliases += ", ";
            aliases += *a;
        }
        if (names.containsText != nullptr) {
            if (!aliases.empty()) aliases += ", ";
            aliases += std::string("any name containing ") + names.containsText;
        }
        std::printf("%-16s %-22s %5d %5d  %s\n", c.name, c.oid, fieldBits(c.p), c.fieldBytes, aliases.c_str());
    }
    return kOk;
}

}  // namespace cli
}  // namespace vn
