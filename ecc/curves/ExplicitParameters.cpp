#include "ecc/curves/ExplicitParameters.h"

#include <cstring>

namespace vn {

namespace {

struct Template {
    const char* curve;
    const char* base64;
};

// Published domain parameters with their SEC 2 / FIPS 186 widths: p and n as DER INTEGERs, a and
// b as OCTET STRINGs (secp521r1's b in 65 bytes, secp256k1's a and b in one byte each), the
// 20-byte seed where the curve has one, cofactor 1. Encoded SubjectPublicKeyInfo sizes are
// 335, 464, 608 and 248 bytes.
const Template kTemplates[] = {
    {"secp256r1",
        "MIIBSzCCAQMGByqGSM49AgEwgfcCAQEwLAYHKoZIzj0BAQIhAP////8AAAABAAAAAAAAAAAAAAAA"
        "////////////////MFsEIP////8AAAABAAAAAAAAAAAAAAAA///////////////8BCBaxjXYqjqT"
        "57PrvVV2mIa8ZR0GsMxTsPY7zjw+J9JgSwMVAMSdNgiG5wSTamZ44ROdJreBn36QBEEEaxfR8uEs"
        "Qkf4vOblY6RA8ncDfYEt6zOg9KE5RdiYwpZP40Li/hp/m47n60p8D54WK84zV2sxXs7LtkBoN79R"
        "9QIhAP////8AAAAA//////////+85vqtpxeehPO5ysL8YyVRAgEBA0IABGsX0fLhLEJH+Lzm5WOk"
        "QPJ3A32BLeszoPShOUXYmMKWT+NC4v4af5uO5+tKfA+eFivOM1drMV7Oy7ZAaDe/UfU="},
    {"secp384r1",
        "MIIBzDCCAWQGByqGSM49AgEwggFXAgEBMDwGByqGSM49AQECMQD/////////////////////////"
        "/////////////////v////8AAAAAAAAAAP////8wewQw////////////////////////////////"
        "//////////7/////AAAAAAAAAAD////8BDCzMS+n4j7n5JiOBWvj+C0ZGB2cbv6BQRIDFAiPUBOH"
        "WsZWOY2KLtGdKoXI7dPsKu8DFQCjNZJqoxmieh0AiWpnc6SCes2scwRhBKqHyiK+iwU3jrHHHvMg"
        "rXRuHTtii6ebmFn3QeCCVCo4VQLyXb9VKWw6VF44cnYKtzYX3kqWJixvXZ6Yv5KS3Cn49B29KJoU"
        "fOnaMRO18LjACmCxzh1+gZ16Qx18kOoOXwIxAP///////////////////////////////8djTYH0"
        "Ny3fWBoNskiwp3rs7BlqzMUpcwIBAQNiAASqh8oivosFN46xxx7zIK10bh07Younm5hZ90HgglQq"
        "OFUC8l2/VSlsOlReOHJ2Crc2F95KliYsb12emL+Sktwp+PQdvSiaFHzp2jETtfC4wApgsc4dfoGd"
        "ekMdfJDqDl8="},
    {"secp521r1",
        "MIICXDCCAc8GByqGSM49AgEwggHCAgEBME0GByqGSM49AQECQgH/////////////////////////"
        "/////////////////////////////////////////////////////////////zCBngRCAf//////"
        "////////////////////////////////////////////////////////////////////////////"
        "///8BEFRlT65YY4cmh+SmiGgtoVA7qLacluZsxXzuLSJkY7xCeFWGTlR7H6TexZSwL07sb8HNXPf"
        "iD0sNPHvRR/Ua1A/AAMVANCeiAApHLhTlsxnFzkyhKqg2mS6BIGFBADGhY4GtwQE6c2ePstmI5W0"
        "QpxkgTkFP7Uh+CivYGtNPbqhS1537+dZKP4dwSei/6jeM0izwYVqQpv5fn4xwuW9ZgEYOSlqeJo7"
        "wARcil+0LH0b2Zj1RElXm0RoF6+9Fyc+ZiyX7nKZXvQmQMVQuQE/rQdhNTxwhqJywkCIvpR2n9Fm"
        "UAJCAf//////////////////////////////////////////+lGGh4O/L5Zrf8wBSPcJpdA7tcm4"
        "iZxHrrtvtx6ROGQJAgEBA4GGAAQAxoWOBrcEBOnNnj7LZiOVtEKcZIE5BT+1Ifgor2BrTT26oUte"
        "d+/nWSj+HcEnov+o3jNIs8GFakKb+X5+McLlvWYBGDkpaniaO8AEXIpftCx9G9mY9URJV5tEaBev"
        "vRcnPmYsl+5ymV70JkDFULkBP60HYTU8cIaicsJAiL6Udp/RZlA="},
    {"secp256k1",
        "MIH1MIGuBgcqhkjOPQIBMIGiAgEBMCwGByqGSM49AQECIQD/////////////////////////////"
        "///////+///8LzAGBAEABAEHBEEEeb5mfvncu6xVoGKVzocLBwKb/NstzijZWfKBWxb4F5hIOtp3"
        "JqPEZV2k+/wOEQio/Re0SKaFVBmcR9CP+xDUuAIhAP////////////////////66rtzmr0igO7/S"
        "XozQNkFBAgEBA0IABHm+Zn753LusVaBilc6HCwcCm/zbLc4o2VnygVsW+BeYSDradyajxGVdpPv8"
        "DhEIqP0XtEimhVQZnEfQj/sQ1Lg="},
};

}  // namespace

const char* explicitSpkiTemplate(const char* canonicalCurveName) {
    if (canonicalCurveName == nullptr) return nullptr;
    for (const Template& t : kTemplates) {
        if (std::strcmp(t.curve, canonicalCurveName) == 0) return t.base64;
    }
    return nullptr;
}

}  // namespace vn
