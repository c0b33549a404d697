#pragma once
// Key files as lines of text, for the readers of the line-based forms (PuTTY files, encrypted
// PEM headers). The text may hold a key, so what is built from it can be wiped.

#include <string>
#include <vector>

namespace vn {
namespace keyfile {

// Wipes the string's whole capacity (text cleared earlier still sits past its end) and leaves
// it empty.
void wipeString(std::string& s);

// Lines that are wiped when they go.
struct WipedLines : std::vector<std::string> {
    WipedLines() = default;
    WipedLines(const WipedLines&) = delete;
    WipedLines& operator=(const WipedLines&) = delete;
    ~WipedLines();
};

// Appends the lines of a NUL-terminated text to lines, without their LF or CR LF endings; a
// last line without an ending counts, an empty one after the last ending does not.
void splitLines(const char* text, WipedLines& lines);

}  // namespace keyfile
}  // namespace vn
