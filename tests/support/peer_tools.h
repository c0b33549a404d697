#pragma once
// Running the ecckey tool and the independent peers (openssl, ssh-keygen, puttygen, node) from
// tests, in a private scratch directory, with their outputs and exit codes captured.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace vn {
namespace testing_peers {

inline bool haveTool(const std::string& tool) {
    return std::system(("command -v " + tool + " > /dev/null 2>&1").c_str()) == 0;
}

// scripts/install-deps.sh installs every peer, so under CI a missing one is a broken machine,
// not a reason to pass; elsewhere its rows are skipped where nobody can miss it.
#define ECCKEY_NEED_PEER(tool)                                                                          \
    do {                                                                                                \
        if (!::vn::testing_peers::haveTool(tool)) {                                                     \
            const char* ci = std::getenv("CI");                                                         \
            if (ci != nullptr && std::string(ci) == "true") FAIL() << tool << " is missing and CI=true"; \
            GTEST_SKIP() << "*** " << tool << " not found: its peer rows SKIPPED ***";                  \
        }                                                                                               \
    } while (0)

// Helpers every script gets. A check that fails names itself on standard error and ends the
// script with status 1; `expect` leaves the command's output in the files got and got.err.
const char kPrelude[] = R"SH(set -e
fail() { echo "$*" >&2; exit 1; }
same() { cmp -s "$1" "$2" || fail "$1 differs from $2"; }
has() { grep -qF -- "$2" "$1" || fail "$1 lacks '$2': $(head -c 400 "$1")"; }
expect() { local n=$1 s=0; shift; "$@" > got 2> got.err || s=$?; [ "$s" = "$n" ] || fail "exit $s, not $n, from $*: $(cat got.err)"; }
refuse() { local t=$1; shift; expect 2 "$@"; [ ! -s got ] || fail "output from $*"; has got.err "$t"; }
fields() { cut -d' ' -f1,2 "$1" | tr -d '\r\n'; }
)SH";

struct Result {
    int status = -1;  // the exit code; -1 for a crash
    std::string out, err;
};

// A fresh directory under /tmp, removed with everything in it when the object goes.
class Scratch {
public:
    Scratch() {
        char templ[] = "/tmp/ecckey-peer-XXXXXX";
        if (mkdtemp(templ) != nullptr) m_dir = templ;
    }
    ~Scratch() {
        if (!m_dir.empty()) std::system(("rm -rf '" + m_dir + "'").c_str());
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    bool ok() const { return !m_dir.empty(); }
    std::string path(const std::string& name) const { return m_dir + "/" + name; }
    std::string read(const std::string& name) const {
        std::ifstream in(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }

    // Runs the tool with the space-separated args (plain words), standard input from the named file.
    Result tool(const std::string& args, const std::string& stdinName = "") const {
        return bash("", "exec \"$E\" " + args + " < " + (stdinName.empty() ? "/dev/null" : stdinName));
    }

    // Runs a bash script after the prelude, with the tool as "$E" and the given variables set.
    Result bash(const std::string& vars, const std::string& script) const {
        write(".script", std::string(kPrelude) + "E='" + ECCKEY_TOOL_PATH + "'\n" + vars + "\n" + script + "\n");
        return collect(std::system(("cd '" + m_dir + "' && exec bash .script < /dev/null > .out 2> .err").c_str()));
    }

private:
    Result collect(int waitStatus) const {
        return Result{waitStatus != -1 && WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -1, read(".out"), read(".err")};
    }
    std::string m_dir;
};

}  // namespace testing_peers
}  // namespace vn
