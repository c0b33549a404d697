#include "keyfile/TextLines.h"

#include <cstring>

#include "host/SecureWipe.h"

namespace vn {
namespace keyfile {

void wipeString(std::string& s) {
    s.resize(s.capacity());
    if (!s.empty()) secureWipe(&s[0], s.size());
    s.clear();
}

WipedLines::~WipedLines() {
    for (std::string& line : *this) wipeString(line);
}

void splitLines(const char* text, WipedLines& lines) {
    std::string current;
    current.reserve(std::strlen(text));  // one buffer, so no outgrown copy of a line is left behind
    for (const char* p = text; *p != '\0'; ++p) {
        if (*p == '\n') {
            lines.push_back(current);
            current.clear();
        } else if (*p != '\r') {
            current += *p;
        }
    }
    if (!current.empty()) lines.push_back(current);
    wipeString(current);
}

}  // namespace keyfile
}  // namespace vn
