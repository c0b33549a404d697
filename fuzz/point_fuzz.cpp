// loadEccPoint: an X9.63 octet string of any length.
#include "FuzzCommon.h"
#include "ecc/generic/EccPoint.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vn::DataBuffer x963;
    fuzz::fill(x963, data, size);
    vn::LogNull log;
    vn::EccPoint p;
    if (!p.loadEccPoint(x963, log)) return 0;

    // A point with coordinates no wider than the widest field (secp521r1's 66 bytes) writes
    // out at the width of its longer coordinate and reads back.
    int width = vn::BigNum::mp_unsigned_bin_size(p.x);
    if (vn::BigNum::mp_unsigned_bin_size(p.y) > width) width = vn::BigNum::mp_unsigned_bin_size(p.y);
    if (width == 0) width = 1;
    if (width > 66) return 0;
    vn::DataBuffer out;
    fuzz::check(p.exportEccPoint(width, out, log), "an accepted point does not export");
    fuzz::check(out.getSize() == 1 + 2 * static_cast<unsigned>(width) && out.byteAt(0) == 0x04,
                "exported point has the wrong shape");
    vn::EccPoint back;
    fuzz::check(back.loadEccPoint(out, log), "an exported point does not load back");
    fuzz::check(fuzz::sameMp(p.x, back.x) && fuzz::sameMp(p.y, back.y), "point round trip changed the point");
    return 0;
}
