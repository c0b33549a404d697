#include "host/LogBase.h"

#include <cstdio>
#include <cstring>

#include "host/DataBuffer.h"

namespace vn {

void LogBase::record(Kind kind, const char* name, const char* text) {
    Entry e;
    e.kind = kind;
    e.context = m_path;
    e.depth = static_cast<int>(m_marks.size());
    e.name = name != nullptr ? name : "";
    e.text = text != nullptr ? text : "";
    e.contextIds = m_ids;
    m_entries.push_back(std::move(e));
}

void LogBase::LogError(const char* text) { record(Kind::Error, nullptr, text); }

void LogBase::LogInfo(const char* text) { record(Kind::Info, nullptr, text); }

void LogBase::LogDataStr(const char* name, const char* value) { record(Kind::Data, name, value); }

void LogBase::LogDataLong(const char* name, long value) {
    char text[24];
    std::snprintf(text, sizeof text, "%ld", value);
    LogDataStr(name, text);
}

void LogBase::LogDataUint32(const char* name, unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, "%u", value);
    LogDataStr(name, text);
}

void LogBase::LogDataBool(const char* name, bool value) { LogDataStr(name, value ? "true" : "false"); }

void LogBase::LogDataSb(const char* name, const StringBuffer& value) { LogDataStr(name, value.getString()); }

void LogBase::LogDataHex(const char* name, const unsigned char* bytes, unsigned n) {
    StringBuffer hex;
    if (n != 0 && bytes != nullptr) DataBuffer::toHexString2(bytes, n, false, hex);
    LogDataStr(name, hex.getString());
}

void LogBase::enterContext(const char* name) {
    m_marks.push_back(m_path.size());
    m_ids.push_back(++m_nextId);
    if (!m_path.empty()) m_path += '/';
    m_path += name != nullptr ? name : "";
}

void LogBase::leaveContext() {
    if (m_marks.empty()) return;
    m_path.resize(m_marks.back());
    m_marks.pop_back();
    m_ids.pop_back();
}

std::vector<std::string> LogBase::errors() const {
    std::vector<std::string> out;
    for (const Entry& e : m_entries) {
        if (e.kind == Kind::Error) out.push_back(e.text);
    }
    return out;
}

bool LogBase::hasError(const char* text) const {
    for (const Entry& e : m_entries) {
        if (e.kind == Kind::Error && e.text == text) return true;
    }
    return false;
}

namespace {

// Splits "a/b/c" into its names.
std::vector<std::string> splitPath(const std::string& path) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start < path.size()) {
        std::size_t slash = path.find('/', start);
        if (slash == std::string::npos) slash = path.size();
        parts.push_back(path.substr(start, slash - start));
        start = slash + 1;
    }
    return parts;
}

}  // namespace

std::string LogBase::render() const {
    // Contexts are printed as headings the first time a line arrives under them; a line's
    // path is compared with the path of the previous line to find what opens anew.
    std::string out;
    std::vector<unsigned> open;
    for (const Entry& e : m_entries) {
        std::vector<std::string> path = splitPath(e.context);
        std::size_t common = 0;
        while (common < open.size() && common < e.contextIds.size() &&
               open[common] == e.contextIds[common]) {
            ++common;
        }
        for (std::size_t i = common; i < path.size(); ++i) {
            out.append(2 * i, ' ');
            out += path[i];
            out += ":\n";
        }
        open = e.contextIds;
        out.append(2 * path.size(), ' ');
        switch (e.kind) {
            case Kind::Error: out += e.text; break;
            case Kind::Info: out += e.text; break;
            case Kind::Data: out += e.name + ": " + e.text; break;
        }
        out += '\n';
    }
    return out;
}

void LogBase::clearLog() { m_entries.clear(); }

}  // namespace vn
