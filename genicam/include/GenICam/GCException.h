// The GenICam exception family. Every failure of these libraries reaches the caller as one of these
// types; the text is formatted with printf semantics into at most 255 characters. The classes are
// exported with default visibility so that a client of any of the shared libraries can catch them by
// type (their type information lives in GCBase alone).
#pragma once

#include <GenICam/GCApiDef.h>
#include <GenICam/GCString.h>

#include <cstdarg>
#include <exception>

namespace GenICam {

class GCBASE_API GenericException : public std::exception {
public:
    // Longest text kept, terminating zero excluded.
    static constexpr size_t MaxTextLength = 255;

    GenericException(const char* description, const char* sourceFileName, unsigned int sourceLine,
                     const char* exceptionType = "GenericException");
    GenericException(const GenericException&) = default;
    GenericException& operator=(const GenericException&) = default;
    ~GenericException() noexcept override;

    const char* GetDescription() const noexcept { return m_description; }
    const char* GetSourceFileName() const noexcept { return m_sourceFile; }
    unsigned int GetSourceLine() const noexcept { return m_sourceLine; }
    const char* GetExceptionType() const noexcept { return m_type; }
    // "<Type> thrown (file '<file>', line <n>): <description>" style text for logs.
    const char* what() const noexcept override { return m_what; }

private:
    char m_description[MaxTextLength + 1];
    char m_sourceFile[MaxTextLength + 1];
    char m_type[64];
    char m_what[2 * MaxTextLength + 128];
    unsigned int m_sourceLine;
};

#define GC_DECLARE_EXCEPTION(name)                                                                        \
    class GCBASE_API name : public GenericException {                                                    \
    public:                                                                                              \
        name(const char* description, const char* sourceFileName, unsigned int sourceLine,              \
             const char* exceptionType = #name)                                                          \
            : GenericException(description, sourceFileName, sourceLine, exceptionType) {}                \
        ~name() noexcept override;                                                                       \
    }

GC_DECLARE_EXCEPTION(BadAllocException);
GC_DECLARE_EXCEPTION(InvalidArgumentException);
GC_DECLARE_EXCEPTION(OutOfRangeException);
GC_DECLARE_EXCEPTION(PropertyException);
GC_DECLARE_EXCEPTION(RuntimeException);
GC_DECLARE_EXCEPTION(LogicalErrorException);
GC_DECLARE_EXCEPTION(AccessException);
GC_DECLARE_EXCEPTION(TimeoutException);
GC_DECLARE_EXCEPTION(DynamicCastException);

#undef GC_DECLARE_EXCEPTION

// vsnprintf into `out`, always terminated, never more than `size` bytes.
GCBASE_API void FormatText(char* out, size_t size, const char* format, va_list args) noexcept;

// Formats a text (vsnprintf into 256 bytes, truncated there) and builds an exception of type E that
// carries the file and line given at construction. Use through the macros below:
//   throw RUNTIME_EXCEPTION("Not supported pixelformat %s", name);
template <class E>
class ExceptionReporter {
public:
    ExceptionReporter(const char* sourceFile, unsigned int sourceLine, const char* typeName)
        : m_file(sourceFile), m_line(sourceLine), m_type(typeName) {}

#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    E Report(const char* format, ...) const {
        char text[GenericException::MaxTextLength + 1];
        va_list args;
        va_start(args, format);
        FormatText(text, sizeof text, format, args);
        va_end(args);
        return E(text, m_file, m_line, m_type);
    }
    E Report() const { return E("", m_file, m_line, m_type); }

private:
    const char* m_file;
    unsigned int m_line;
    const char* m_type;
};

} // namespace GenICam

#define GENERIC_EXCEPTION        ::GenICam::ExceptionReporter<::GenICam::GenericException>(__FILE__, __LINE__, "GenericException").Report
#define BAD_ALLOC_EXCEPTION      ::GenICam::ExceptionReporter<::GenICam::BadAllocException>(__FILE__, __LINE__, "BadAllocException").Report
#define INVALID_ARGUMENT_EXCEPTION ::GenICam::ExceptionReporter<::GenICam::InvalidArgumentException>(__FILE__, __LINE__, "InvalidArgumentException").Report
#define OUT_OF_RANGE_EXCEPTION   ::GenICam::ExceptionReporter<::GenICam::OutOfRangeException>(__FILE__, __LINE__, "OutOfRangeException").Report
#define PROPERTY_EXCEPTION       ::GenICam::ExceptionReporter<::GenICam::PropertyException>(__FILE__, __LINE__, "PropertyException").Report
#define RUNTIME_EXCEPTION        ::GenICam::ExceptionReporter<::GenICam::RuntimeException>(__FILE__, __LINE__, "RuntimeException").Report
#define LOGICAL_ERROR_EXCEPTION  ::GenICam::ExceptionReporter<::GenICam::LogicalErrorException>(__FILE__, __LINE__, "LogicalErrorException").Report
#define ACCESS_EXCEPTION         ::GenICam::ExceptionReporter<::GenICam::AccessException>(__FILE__, __LINE__, "AccessException").Report
#define TIMEOUT_EXCEPTION        ::GenICam::ExceptionReporter<::GenICam::TimeoutException>(__FILE__, __LINE__, "TimeoutException").Report
#define DYNAMICCAST_EXCEPTION    ::GenICam::ExceptionReporter<::GenICam::DynamicCastException>(__FILE__, __LINE__, "DynamicCastException").Report
