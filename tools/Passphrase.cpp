#include "tools/Passphrase.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace vn {
namespace cli {

const char kPassphraseHelp[] =
    "Passphrase sources (--passin SOURCE, --passout SOURCE), as openssl takes them:\n"
    "  pass:TEXT   TEXT itself\n"
    "  env:VAR     the value of the environment variable VAR\n"
    "  file:PATH   the first line of the file PATH\n"
    "  fd:N        the first line read from the open file descriptor N\n"
    "An encrypted key file named on the command line without --passin is asked for on the\n"
    "terminal, without echo, when standard input is one.\n";

namespace {

// The first line of what the descriptor holds, one byte at a time so that nothing past the line
// is taken from a pipe another reader may share.
bool readLine(int fd, DataBuffer& out) {
    for (char c; ;) {
        const ssize_t n = ::read(fd, &c, 1);
        if (n < 0) return false;
        if (n == 0 || c == '\n') return true;
        if (c != '\r' && !out.appendChar(static_cast<unsigned char>(c))) return false;
    }
}

}  // namespace

bool readPassphrase(const std::string& source, DataBuffer& out, std::string& error) {
    out.secureClear();
    out.setSecure(true);
    const size_t colon = source.find(':');
    const std::string kind = source.substr(0, colon), rest = colon == std::string::npos ? "" : source.substr(colon + 1);
    if (colon == std::string::npos) {
        error = "a passphrase source is pass:TEXT, env:VAR, file:PATH or fd:N";
        return false;
    }
    if (kind == "pass") return out.append(rest.data(), static_cast<unsigned>(rest.size()));
    if (kind == "env") {
        const char* value = std::getenv(rest.c_str());
        if (value == nullptr) {
            error = "the environment variable " + rest + " is not set";
            return false;
        }
        return out.append(value, static_cast<unsigned>(std::strlen(value)));
    }
    int fd = -1;
    if (kind == "file") {
        fd = ::open(rest.c_str(), O_RDONLY);
    } else if (kind == "fd") {
        char* end = nullptr;
        const long n = std::strtol(rest.c_str(), &end, 10);
        fd = end != rest.c_str() && *end == '\0' && n >= 0 && n < 1024 ? static_cast<int>(n) : -1;
    } else {
        error = "a passphrase source is pass:TEXT, env:VAR, file:PATH or fd:N";
        return false;
    }
    const bool ok = fd >= 0 && readLine(fd, out);
    if (kind == "file" && fd >= 0) ::close(fd);
    if (!ok) error = "cannot read a passphrase from " + source;
    return ok;
}

bool canPrompt() { return ::isatty(STDIN_FILENO) == 1; }

bool promptPassphrase(const char* prompt, bool confirm, DataBuffer& out, std::string& error) {
    out.secureClear();
    out.setSecure(true);
    const int tty = ::open("/dev/tty", O_RDWR | O_NOCTTY);
    termios saved{};
    if (tty < 0 || ::tcgetattr(tty, &saved) != 0) {
        if (tty >= 0) ::close(tty);
        error = "no terminal to ask for the passphrase on";
        return false;
    }
    termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    const auto ask = [&](const std::string& text, DataBuffer& answer) {
        const bool written = ::write(tty, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        const bool read = ::tcsetattr(tty, TCSAFLUSH, &quiet) == 0 && readLine(tty, answer);
        ::tcsetattr(tty, TCSAFLUSH, &saved);
        return written && read && ::write(tty, "\n", 1) == 1;
    };
    DataBuffer again;
    again.setSecure(true);
    bool ok = ask(prompt, out);
    if (ok && confirm) {
        ok = ask(std::string("Again: "), again);
        if (ok && !again.equals(out)) {
            error = "the passphrases differ";
            ok = false;
        }
    }
    ::close(tty);
    if (!ok && error.empty()) error = "cannot read a passphrase from the terminal";
    return ok;
}

}  // namespace cli
}  // namespace vn
