#include "host/SshMessage.h"

namespace vn {

bool SshMessage::pack_db(const DataBuffer& in, DataBuffer& out) {
    const unsigned oldSize = out.getSize();
    if (out.appendUint32_be(in.getSize()) && out.append(in)) return true;
    out.truncate(oldSize);
    return false;
}

}  // namespace vn
