#pragma once
#include <string>
#include <vector>

#include "host/StringBuffer.h"

namespace vn {

/// The logging sink every fallible operation writes into: a false result comes with its
/// reasons here. It keeps every line in memory, in order, with the path of contexts it was
/// written under, and renders them as indented text. A caller that wants lines elsewhere
/// subclasses it and overrides the three virtual writers; every other writer formats its value
/// and goes through LogDataStr. Error lines are fixed texts a caller may test for with
/// hasError(); data lines carry values (never a private scalar). One log per thread.
class LogBase {
public:
    /// What a line is.
    enum class Kind {
        Error,  ///< Why an operation failed.
        Info,   ///< Progress and diagnostics.
        Data    ///< A named value.
    };
    /// One recorded line.
    struct Entry {
        Kind kind;            ///< Error, Info or Data.
        std::string context;  ///< Context names joined by '/', empty at top level.
        int depth;            ///< Number of open contexts when written.
        std::string name;     ///< The value's name, for Data entries.
        std::string text;     ///< The line, or the Data entry's value.
        std::vector<unsigned> contextIds;  ///< One per open context; tells repeated calls apart.
    };

    /// An empty log, not verbose, no options.
    LogBase() = default;
    virtual ~LogBase() = default;
    LogBase(const LogBase&) = delete;
    LogBase& operator=(const LogBase&) = delete;

    virtual void LogError(const char* text);  ///< Records an error line.
    virtual void LogInfo(const char* text);   ///< Records an info line.
    virtual void LogDataStr(const char* name, const char* value);  ///< Records a named value.

    void LogDataLong(const char* name, long value);       ///< A named value in decimal.
    void LogDataUint32(const char* name, unsigned value); ///< A named value in decimal.
    void LogDataBool(const char* name, bool value);       ///< "true" or "false".
    void LogDataSb(const char* name, const StringBuffer& value);  ///< A named text.
    /// A named value as upper-case hex of bytes[0, n).
    void LogDataHex(const char* name, const unsigned char* bytes, unsigned n);

    /// Opens a named context; use LogContextExitor, which closes it on every path.
    void enterContext(const char* name);
    /// Closes the innermost context (none open: nothing).
    void leaveContext();
    /// Context names joined by '/', for subclasses that route lines elsewhere.
    const std::string& contextPath() const { return m_path; }

    /// Every line so far, in order.
    const std::vector<Entry>& entries() const { return m_entries; }
    /// Error texts in the order written.
    std::vector<std::string> errors() const;
    /// Whether an error line with exactly this text was written.
    bool hasError(const char* text) const;
    /// Every line, one per row, indented two spaces per context level; contexts that
    /// received no lines are left out.
    std::string render() const;
    /// Forgets every line (open contexts stay open).
    void clearLog();

    /// Asks operations for extra info and data lines (inputs, sizes, intermediate values).
    bool m_verbose = false;
    /// Option words that change an operation's output; "EMIT_ECC_PKCS1_PUBKEY" puts the public
    /// key into SEC1 exports (EccKey::toEccPkcs1PrivateKeyDer).
    StringBuffer m_options;

protected:
    /// Appends an entry under the current context; the base writers' common end.
    void record(Kind kind, const char* name, const char* text);

private:
    std::vector<Entry> m_entries;
    std::vector<std::size_t> m_marks;  // lengths of m_path before each open context
    std::vector<unsigned> m_ids;
    unsigned m_nextId = 0;
    std::string m_path;
};

/// Discards everything; for throw-away work whose failures the caller reports itself.
class LogNull : public LogBase {
public:
    void LogError(const char*) override {}                 ///< Discards the line.
    void LogInfo(const char*) override {}                  ///< Discards the line.
    void LogDataStr(const char*, const char*) override {}  ///< Discards the value.
};

/// Opens a named context for the lifetime of the object, so every return path closes it.
class LogContextExitor {
public:
    /// Opens the context name in log.
    LogContextExitor(LogBase& log, const char* name) : m_log(log) { m_log.enterContext(name); }
    /// Closes it.
    ~LogContextExitor() { m_log.leaveContext(); }
    LogContextExitor(const LogContextExitor&) = delete;
    LogContextExitor& operator=(const LogContextExitor&) = delete;

private:
    LogBase& m_log;
};

}  // namespace vn
