// Initialisation count and the exception of failed system calls.
#include <lxapi/lxapi_tl.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

std::atomic<long> g_initCount{0};

// strerror_r comes in two forms: the GNU one returns the text, the XSI one fills the buffer.
[[maybe_unused]] const char* ErrorText(char* result, const char*) { return result; }
[[maybe_unused]] const char* ErrorText(int result, const char* buffer) { return result == 0 ? buffer : "Unknown error"; }

} // namespace

void LxApiInitialize() { g_initCount.fetch_add(1, std::memory_order_acq_rel); }

// A terminate without a matching initialize is ignored: the count never goes below zero.
void LxApiTerminate() {
    long n = g_initCount.load(std::memory_order_acquire);
    while (n > 0 && !g_initCount.compare_exchange_weak(n, n - 1, std::memory_order_acq_rel)) {
    }
}

bool IsLxApiInitialized() { return g_initCount.load(std::memory_order_acquire) > 0; }

void CheckLxApiInitialized() {
    if (!IsLxApiInitialized()) throw RUNTIME_EXCEPTION("LxApi is not initialized.");
}

CLxWin32ErrorException::CLxWin32ErrorException(const char* description, const char* sourceFileName,
                                               unsigned int sourceLine, uint32_t errorCode)
    : CLxWin32ErrorException(description, sourceFileName, sourceLine, errorCode, "CLxWin32ErrorException") {}

CLxWin32ErrorException::CLxWin32ErrorException(const char* description, const char* sourceFileName,
                                               unsigned int sourceLine, uint32_t errorCode,
                                               const char* exceptionType)
    : GenICam::RuntimeException(description, sourceFileName, sourceLine, exceptionType), m_errorCode(errorCode) {}

CLxWin32ErrorException::~CLxWin32ErrorException() noexcept = default;

CLxWin32ErrorExceptionReporter::CLxWin32ErrorExceptionReporter(const char* sourceFile, unsigned int sourceLine,
                                                               const char* typeName)
    : m_file(sourceFile), m_line(sourceLine), m_type(typeName) {}

CLxWin32ErrorException CLxWin32ErrorExceptionReporter::Report(uint32_t errorCode, const char* functionName,
                                                              const char* format, ...) const {
    char detail[GenICam::GenericException::MaxTextLength + 1];
    va_list args;
    va_start(args, format);
    GenICam::FormatText(detail, sizeof detail, format, args);
    va_end(args);

    char errorBuffer[128] = "";
    const char* errorText = ErrorText(strerror_r(static_cast<int>(errorCode), errorBuffer, sizeof errorBuffer),
                                      errorBuffer);
    char text[GenICam::GenericException::MaxTextLength + 1];
    // A text longer than the limit is cut there, like every exception text.
    if (std::snprintf(text, sizeof text, "%s failed (error %u: %s) %s", functionName ? functionName : "(unknown)",
                      static_cast<unsigned>(errorCode), errorText, detail) < 0)
        text[0] = '\0';
    return CLxWin32ErrorException(text, m_file, m_line, errorCode, m_type ? m_type : "CLxWin32ErrorException");
}
