// Operations of the transport-layer library that this library builds on: image buffers, pixel
// format facts, initialisation and the reporter of failed system calls.
#pragma once

#include <GenICam/GCException.h>
#include <lxapi/ilximage.h>
#include <lxapi/ilxpixelformatinfo.h>
#include <lxapi/lxapidef.h>

extern "C++" {

// A new empty image buffer. With a null allocator the buffer uses the heap.
LXAPI_TL_API ILxImageBufferReleasable* CreateILxImageBuffer(ILxAllocator* allocator = nullptr);

// Facts of a pixel format; never null: an unknown code throws InvalidArgumentException.
LXAPI_TL_API ILxPixelFormatInfo* GetILxPixelFormatInfo(uint32_t pixelFormat);
// Facts of a pixel component id; an unknown id throws InvalidArgumentException.
LXAPI_TL_API ILxPixelComponentInfo* GetILxPixelComponentInfo(uint32_t component);

// Initialisation is counted: each LxApiInitialize needs one LxApiTerminate.
LXAPI_TL_API void LxApiInitialize();
LXAPI_TL_API void LxApiTerminate();
LXAPI_TL_API bool IsLxApiInitialized();
// Throws RuntimeException "LxApi is not initialized." unless initialised.
LXAPI_TL_API void CheckLxApiInitialized();

} // extern "C++"

// The exception of a failed system call: carries the error number (errno on this platform).
class LXAPI_TL_API CLxWin32ErrorException : public GenICam::RuntimeException {
public:
    CLxWin32ErrorException(const char* description, const char* sourceFileName, unsigned int sourceLine,
                           uint32_t errorCode);
    // The same with the type name that GetExceptionType() answers (the reporter's third text).
    CLxWin32ErrorException(const char* description, const char* sourceFileName, unsigned int sourceLine,
                           uint32_t errorCode, const char* exceptionType);
    ~CLxWin32ErrorException() noexcept override;
    uint32_t GetErrorCode() const noexcept { return m_errorCode; }

private:
    uint32_t m_errorCode;
};

// Builds CLxWin32ErrorException for a failed system call:
//   throw CLxWin32ErrorExceptionReporter(__FILE__, __LINE__, "CLxWin32ErrorException")
//       .Report(errno, "open", "File %s could not be opened.", name);
// The text is "<function> failed (error <code>: <strerror>) <formatted text>".
class LXAPI_TL_API CLxWin32ErrorExceptionReporter {
public:
    CLxWin32ErrorExceptionReporter(const char* sourceFile, unsigned int sourceLine, const char* typeName);
#if defined(__GNUC__)
    __attribute__((format(printf, 4, 5)))
#endif
    CLxWin32ErrorException Report(uint32_t errorCode, const char* functionName, const char* format, ...) const;

private:
    const char* m_file;
    unsigned int m_line;
    const char* m_type;
};
