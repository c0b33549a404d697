#include "tools/Cli.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/Hash.h"
#include "host/SecureWipe.h"

namespace vn {
namespace cli {

const std::string* Args::get(const std::string& name) const {
    auto it = values.find(name);
    return it == values.end() ? nullptr : &it->second;
}

std::string Args::getOr(const std::string& name, const std::string& fallback) const {
    const std::string* v = get(name);
    return v == nullptr ? fallback : *v;
}

namespace {
bool listed(const std::vector<std::string>& list, const std::string& name) {
    for (const std::string& s : list) {
        if (s == name) return true;
    }
    return false;
}
}  // namespace

bool parseArgs(int argc, char** argv, int first, const std::vector<std::string>& valueOptions,
               const std::vector<std::string>& flags, Args& out, std::string& error) {
    bool optionsEnded = false;
    for (int i = first; i < argc; ++i) {
        std::string arg = argv[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-' || arg == "-") {
            out.positional.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg == "--help" || arg == "-h") {
            out.help = true;
            continue;
        }
        if (arg == "--verbose" || arg == "-v") {
            out.verbose = true;
            continue;
        }
        std::string name = arg;
        std::string value;
        bool hasValue = false;
        size_t eq = arg.find('=');
        if (eq != std::string::npos) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
            hasValue = true;
        }
        if (listed(flags, name) && !hasValue) {
            out.values[name.substr(2)] = "";
            continue;
        }
        if (!listed(valueOptions, name)) {
            error = "unknown option '" + name + "'";
            return false;
        }
        if (!hasValue) {
            if (i + 1 >= argc) {
                error = "option '" + name + "' needs a value";
                return false;
            }
            value = argv[++i];
        }
        out.values[name.substr(2)] = value;
    }
    return true;
}

int parseNoArguments(const char* command, const char* usage, int argc, char** argv, int first, Args& args) {
    std::string error;
    if (!parseArgs(argc, argv, first, {}, {}, args, error) || !args.positional.empty()) {
        if (error.empty()) error = "unexpected argument '" + args.positional[0] + "'";
        std::fprintf(stderr, "ecckey %s: %s\n\n%s", command, error.c_str(), usage);
        return kBadInput;
    }
    if (args.help) {
        std::fputs(usage, stdout);
        return kOk;
    }
    return -1;
}

bool readInput(const std::string& path, DataBuffer& out, unsigned maxBytes, std::string& error) {
    out.clear();
    out.setSecure(true);
    const bool useStdin = path.empty() || path == "-";
    FILE* f = useStdin ? stdin : std::fopen(path.c_str(), "rb");
    if (f == nullptr) {
        error = "cannot open '" + path + "': " + std::strerror(errno);
        return false;
    }
    unsigned char chunk[8192];
    bool ok = true;
    for (;;) {
        size_t n = std::fread(chunk, 1, sizeof chunk, f);
        if (n > 0) {
            if (out.getSize() + n > maxBytes) {
                error = std::string(useStdin ? "standard input" : "'" + path + "'") + " is too large";
                ok = false;
                break;
            }
            out.append(chunk, static_cast<unsigned>(n));
        }
        if (n < sizeof chunk) {
            if (std::ferror(f)) {
                error = "cannot read " + std::string(useStdin ? "standard input" : "'" + path + "'");
                ok = false;
            }
            break;
        }
    }
    // The chunk held key bytes.
    volatile unsigned char* wipe = chunk;
    for (size_t i = 0; i < sizeof chunk; ++i) wipe[i] = 0;
    if (!useStdin) std::fclose(f);
    if (!ok) out.clear();
    return ok;
}

bool digestInput(const std::string& path, int hashId, DataBuffer& digest, std::string& error) {
    const bool useStdin = path.empty() || path == "-";
    const std::string name = useStdin ? "standard input" : "'" + path + "'";
    _vnHash hash;
    if (!hash.start(hashId)) {
        error = "unknown hash";
        return false;
    }
    FILE* f = useStdin ? stdin : std::fopen(path.c_str(), "rb");
    if (f == nullptr) {
        error = "cannot open '" + path + "': " + std::strerror(errno);
        return false;
    }
    // Big enough that the hash, not the calls, sets the pace; small enough to sit on the stack.
    unsigned char chunk[1u << 16];
    bool ok = true;
    for (;;) {
        const size_t n = std::fread(chunk, 1, sizeof chunk, f);
        hash.update(chunk, n);
        if (n < sizeof chunk) {
            if (std::ferror(f)) {
                error = "cannot read " + name;
                ok = false;
            }
            break;
        }
    }
    secureWipe(chunk, sizeof chunk);
    if (!useStdin) std::fclose(f);
    return ok && hash.finish(digest);
}

bool writeOutput(const unsigned char* bytes, unsigned n) {
    return std::fwrite(bytes, 1, n, stdout) == n && std::fflush(stdout) == 0;
}

bool writeOutput(const std::string& text) {
    return writeOutput(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned>(text.size()));
}

void reportFailure(const char* command, const std::string& message, const LogBase& log, bool verbose) {
    std::fprintf(stderr, "ecckey %s: %s\n", command, message.c_str());
    if (verbose) {
        std::fputs(log.render().c_str(), stderr);
        return;
    }
    // A message that is itself the log's one error line (a wrong passphrase) is said once.
    const std::vector<std::string> errors = log.errors();
    if (errors.size() == 1 && errors[0] == message) return;
    for (const std::string& line : errors) std::fprintf(stderr, "  %s\n", line.c_str());
}

void reportVerbose(const LogBase& log, bool verbose) {
    if (verbose) std::fputs(log.render().c_str(), stderr);
}

}  // namespace cli
}  // namespace vn
