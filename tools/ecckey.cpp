// ecckey: the command-line face of the library.

#include <cstdio>
#include <cstring>
#include <string>

#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"

namespace {

const char kUsage[] =
    "usage: ecckey COMMAND [ARGS]\n"
    "\n"
    "Commands:\n"
    "  curves    list the supported curves with their names, identifiers and sizes\n"
    "\n"
    "Run 'ecckey COMMAND --help' for a command's own help.\n";

const char kCurvesUsage[] =
    "usage: ecckey curves\n"
    "\n"
    "Lists the fourteen named curves: canonical name, object identifier, field size in bits,\n"
    "coordinate width in bytes, and every other name the curve is accepted by.\n";

int fieldBits(const char* primeHex) {
    vn::mp_int p;
    if (!vn::BigNum::mp_read_radix(p, primeHex, 16)) return 0;
    return vn::BigNum::mp_count_bits(p);
}

int listCurves() {
    std::printf("%-16s %-22s %5s %5s  %s\n", "name", "oid", "bits", "bytes", "also accepted");
    for (int i = 0; i < vn::kNamedCurveCount; ++i) {
        const vn::NamedCurveParams& c = vn::namedCurveAt(i);
        const vn::CurveAliases& names = vn::curveAliasesAt(i);
        std::string aliases;
        for (const char* const* a = names.equals; *a != nullptr; ++a) {
            if (std::strcmp(*a, c.name) == 0) continue;
            if (!aliases.empty()) aliases += ", ";
            aliases += *a;
        }
        if (names.containsText != nullptr) {
            if (!aliases.empty()) aliases += ", ";
            aliases += std::string("any name containing ") + names.containsText;
        }
        std::printf("%-16s %-22s %5d %5d  %s\n", c.name, c.oid, fieldBits(c.p), c.fieldBytes, aliases.c_str());
    }
    return 0;
}

bool isHelp(const char* arg) { return std::strcmp(arg, "--help") == 0 || std::strcmp(arg, "-h") == 0; }

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const char* command = argv[1];
    if (isHelp(command)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (std::strcmp(command, "curves") == 0) {
        if (argc > 2 && isHelp(argv[2])) {
            std::fputs(kCurvesUsage, stdout);
            return 0;
        }
        if (argc > 2) {
            std::fprintf(stderr, "ecckey curves: unexpected argument '%s'\n%s", argv[2], kCurvesUsage);
            return 2;
        }
        return listCurves();
    }
    std::fprintf(stderr, "ecckey: unknown command '%s'\n%s", command, kUsage);
    return 2;
}
