#pragma once
// The subcommands of the ecckey tool. Each takes the whole command line and the index of its
// first own argument, and returns the process exit code.

namespace vn {
namespace cli {

int runCurves(int argc, char** argv, int first);
int runGen(int argc, char** argv, int first);
int runPub(int argc, char** argv, int first);
int runConvert(int argc, char** argv, int first);
int runSign(int argc, char** argv, int first);
int runVerify(int argc, char** argv, int first);
int runEcdh(int argc, char** argv, int first);
int runDemo(int argc, char** argv, int first);

}  // namespace cli
}  // namespace vn
