#pragma once
#include <string>
#include <vector>

#include "host/StringBuffer.h"

namespace vn {

// The logging sink every fallible operation writes into. It keeps every line in memory, in
// order, with the path of contexts it was written under, and renders them as indented text.
// A caller that wants lines elsewhere subclasses it and overrides the three virtual writers;
// every other writer formats its value and goes through LogDataStr.
class LogBase {
public:
    enum class Kind { Error, Info, Data };
    struct Entry {
        Kind kind;
        std::string context;  // context names joined by '/', empty at top level
        int depth;            // number of open contexts when written
        std::string name;     // for Data entries
        std::string text;
        std::vector<unsigned> contextIds;  // one per open context; tells repeated calls apart
    };

    LogBase() = default;
    virtual ~LogBase() = default;
    LogBase(const LogBase&) = delete;
    LogBase& operator=(const LogBase&) = delete;

    virtual void LogError(const char* text);
    virtual void LogInfo(const char* text);
    virtual void LogDataStr(const char* name, const char* value);

    void LogDataLong(const char* name, long value);
    void LogDataUint32(const char* name, unsigned value);
    void LogDataBool(const char* name, bool value);
    void LogDataSb(const char* name, const StringBuffer& value);
    void LogDataHex(const char* name, const unsigned char* bytes, unsigned n);

    // Used by LogContextExitor.
    void enterContext(const char* name);
    void leaveContext();
    // Context names joined by '/', for subclasses that route lines elsewhere.
    const std::string& contextPath() const { return m_path; }

    const std::vector<Entry>& entries() const { return m_entries; }
    // Error texts in the order written.
    std::vector<std::string> errors() const;
    bool hasError(const char* text) const;
    // Every line, one per row, indented two spaces per context level; contexts that
    // received no lines are left out.
    std::string render() const;
    void clearLog();

    bool m_verbose = false;
    StringBuffer m_options;

protected:
    void record(Kind kind, const char* name, const char* text);

private:
    std::vector<Entry> m_entries;
    std::vector<std::size_t> m_marks;  // lengths of m_path before each open context
    std::vector<unsigned> m_ids;
    unsigned m_nextId = 0;
    std::string m_path;
};

// Discards everything; for throw-away work whose failures the caller reports itself.
class LogNull : public LogBase {
public:
    void LogError(const char*) override {}
    void LogInfo(const char*) override {}
    void LogDataStr(const char*, const char*) override {}
};

// Opens a named context for the lifetime of the object, so every return path closes it.
class LogContextExitor {
public:
    LogContextExitor(LogBase& log, const char* name) : m_log(log) { m_log.enterContext(name); }
    ~LogContextExitor() { m_log.leaveContext(); }
    LogContextExitor(const LogContextExitor&) = delete;
    LogContextExitor& operator=(const LogContextExitor&) = delete;

private:
    LogBase& m_log;
};

}  // namespace vn
