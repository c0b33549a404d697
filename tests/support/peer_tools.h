#pragma once
// Running the independent peers (openssl, ssh-keygen, node, puttygen) from tests: a private
// scratch directory, shell commands, and whole-file reads and writes.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace vn {
namespace testing_peers {

// True when `command -v tool` finds the program.
inline bool haveTool(const char* tool) {
    return std::system((std::string("command -v ") + tool + " > /dev/null 2>&1").c_str()) == 0;
}

// Runs a shell command, its standard error discarded; the exit status (0 for success).
inline int run(const std::string& cmd) {
    int status = std::system((cmd + " 2>/dev/null").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs a shell command and captures its standard output; status receives the exit status.
inline std::string capture(const std::string& cmd, int* status = nullptr) {
    std::string out;
    FILE* pipe = popen((cmd + " 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) {
        if (status != nullptr) *status = -1;
        return out;
    }
    char chunk[4096];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0) out.append(chunk, n);
    int rc = pclose(pipe);
    if (status != nullptr) *status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    return out;
}

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// A fresh directory under /tmp, removed with everything in it when the object goes.
class TempDir {
public:
    TempDir() {
        char templ[] = "/tmp/ecckey-peer-XXXXXX";
        if (mkdtemp(templ) != nullptr) m_dir = templ;
    }
    ~TempDir() {
        if (!m_dir.empty()) std::system(("rm -rf '" + m_dir + "'").c_str());
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    bool ok() const { return !m_dir.empty(); }
    std::string path(const std::string& name) const { return m_dir + "/" + name; }

private:
    std::string m_dir;
};

}  // namespace testing_peers
}  // namespace vn
