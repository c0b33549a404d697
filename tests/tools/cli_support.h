#pragma once
// Running the ecckey tool from tests, as a user would from a shell.

#include <gtest/gtest.h>

#include <string>

#include "support/peer_tools.h"

namespace vn {
namespace cli_testing {

namespace peers = testing_peers;

struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

class CliTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.ok()); }

    std::string path(const std::string& name) const { return dir.path(name); }

    // Runs "ecckey ARGS" with standard input from the file stdinName (or nothing).
    Result ecckey(const std::string& args, const std::string& stdinName = "") const {
        Result r;
        const std::string errFile = path("stderr.txt");
        const std::string in = stdinName.empty() ? " < /dev/null" : " < '" + path(stdinName) + "'";
        // The parentheses keep our stderr file: capture() discards the outer stream.
        r.out = peers::capture("(cd '" + path("") + "' && " + std::string(ECCKEY_TOOL_PATH) + " " + args + in + " 2> '" +
                                   errFile + "')",
                               &r.status);
        r.err = peers::readFile(errFile);
        return r;
    }
    // Runs ecckey and writes its standard output to a file in the scratch directory.
    Result ecckeyTo(const std::string& file, const std::string& args, const std::string& stdinName = "") const {
        Result r = ecckey(args, stdinName);
        peers::writeFile(path(file), r.out);
        return r;
    }
    void write(const std::string& name, const std::string& content) const { peers::writeFile(path(name), content); }
    std::string read(const std::string& name) const { return peers::readFile(path(name)); }
    int shell(const std::string& cmd) const { return peers::run("cd '" + path("") + "' && " + cmd); }
    std::string shellOut(const std::string& cmd, int* status = nullptr) const {
        return peers::capture("cd '" + path("") + "' && " + cmd, status);
    }

    peers::TempDir dir;
};

}  // namespace cli_testing
}  // namespace vn
