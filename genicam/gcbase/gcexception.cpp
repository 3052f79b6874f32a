#include <GenICam/GCException.h>

#include <cstdio>
#include <cstring>
#include <ostream>

namespace GenICam {

namespace {
void CopyText(char* out, size_t size, const char* in) noexcept {
    if (!in) in = "";
    std::snprintf(out, size, "%s", in);
}
} // namespace

void FormatText(char* out, size_t size, const char* format, va_list args) noexcept {
    if (size == 0) return;
    if (!format) {
        out[0] = '\0';
        return;
    }
    const int n = std::vsnprintf(out, size, format, args);
    if (n < 0) out[0] = '\0';
}

GenericException::GenericException(const char* description, const char* sourceFileName,
                                   unsigned int sourceLine, const char* exceptionType)
    : m_sourceLine(sourceLine) {
    CopyText(m_description, sizeof m_description, description);
    CopyText(m_sourceFile, sizeof m_sourceFile, sourceFileName);
    CopyText(m_type, sizeof m_type, exceptionType);
    std::snprintf(m_what, sizeof m_what, "%s : %s (file '%s', line %u)", m_type, m_description,
                  m_sourceFile, m_sourceLine);
}

// Out-of-line destructors anchor the type information in this library, so that a catch by type
// works in every module that links it.
GenericException::~GenericException() noexcept = default;
BadAllocException::~BadAllocException() noexcept = default;
InvalidArgumentException::~InvalidArgumentException() noexcept = default;
OutOfRangeException::~OutOfRangeException() noexcept = default;
PropertyException::~PropertyException() noexcept = default;
RuntimeException::~RuntimeException() noexcept = default;
LogicalErrorException::~LogicalErrorException() noexcept = default;
AccessException::~AccessException() noexcept = default;
TimeoutException::~TimeoutException() noexcept = default;
DynamicCastException::~DynamicCastException() noexcept = default;

std::ostream& operator<<(std::ostream& os, const gcstring& s) { return os << s.str(); }

} // namespace GenICam
