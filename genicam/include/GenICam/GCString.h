// GenICam::gcstring: the string type of the GenICam interfaces. A thin value type over std::string,
// so that it converts to and from the standard library without copies where it can.
#pragma once

#include <GenICam/GCApiDef.h>

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace GenICam {

class GCBASE_API gcstring {
public:
    static constexpr size_t npos = std::string::npos;

    gcstring() = default;
    gcstring(const char* s) : m_str(s ? s : "") {}
    gcstring(const char* s, size_t n) : m_str(s ? s : "", s ? n : 0) {}
    gcstring(size_t count, char ch) : m_str(count, ch) {}
    gcstring(const std::string& s) : m_str(s) {}
    gcstring(std::string&& s) noexcept : m_str(std::move(s)) {}

    const char* c_str() const noexcept { return m_str.c_str(); }
    size_t size() const noexcept { return m_str.size(); }
    size_t length() const noexcept { return m_str.size(); }
    bool empty() const noexcept { return m_str.empty(); }
    void clear() noexcept { m_str.clear(); }
    size_t find(const gcstring& s, size_t pos = 0) const noexcept { return m_str.find(s.m_str, pos); }
    size_t find(char c, size_t pos = 0) const noexcept { return m_str.find(c, pos); }
    gcstring substr(size_t pos = 0, size_t n = npos) const { return gcstring(m_str.substr(pos, n)); }
    char operator[](size_t i) const noexcept { return m_str[i]; }

    operator const char*() const noexcept { return m_str.c_str(); }
    const std::string& str() const noexcept { return m_str; }

    gcstring& operator+=(const gcstring& s) { m_str += s.m_str; return *this; }
    gcstring& operator+=(const char* s) { m_str += (s ? s : ""); return *this; }
    gcstring& operator+=(char c) { m_str += c; return *this; }

    friend gcstring operator+(const gcstring& a, const gcstring& b) { return gcstring(a.m_str + b.m_str); }
    friend gcstring operator+(const gcstring& a, const char* b) { return gcstring(a.m_str + (b ? b : "")); }
    friend gcstring operator+(const char* a, const gcstring& b) { return gcstring((a ? a : "") + b.m_str); }
    friend bool operator==(const gcstring& a, const gcstring& b) noexcept { return a.m_str == b.m_str; }
    friend bool operator==(const gcstring& a, const char* b) noexcept { return a.m_str == (b ? b : ""); }
    friend bool operator!=(const gcstring& a, const gcstring& b) noexcept { return !(a == b); }
    friend bool operator!=(const gcstring& a, const char* b) noexcept { return !(a == b); }
    friend bool operator<(const gcstring& a, const gcstring& b) noexcept { return a.m_str < b.m_str; }

private:
    std::string m_str;
};

GCBASE_API std::ostream& operator<<(std::ostream& os, const gcstring& s);

// A list of strings, as GenApi returns symbolic names and the like.
class GCBASE_API gcstring_vector : public std::vector<gcstring> {
public:
    using std::vector<gcstring>::vector;
};

} // namespace GenICam
