// Counted initialisation and the exception of failed system calls.
#include <lxapi/lxapi_tl.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

TEST(Initialisation, IsCountedAndNeverNegative) {
    ASSERT_FALSE(IsLxApiInitialized());
    try {
        CheckLxApiInitialized();
        ADD_FAILURE();
    } catch (const GenICam::RuntimeException& e) {
        EXPECT_STREQ(e.GetDescription(), "LxApi is not initialized.");
    }
    LxApiInitialize();
    LxApiInitialize();
    LxApiTerminate();
    EXPECT_NO_THROW(CheckLxApiInitialized());
    LxApiTerminate();
    EXPECT_FALSE(IsLxApiInitialized());
    LxApiTerminate(); // unmatched: ignored
    LxApiInitialize();
    EXPECT_TRUE(IsLxApiInitialized());
    LxApiTerminate();
}

TEST(Win32ErrorException, CarriesCodeTextAndPlace) {
    try {
        throw CLxWin32ErrorExceptionReporter("worker.cpp", 42, "CLxWin32ErrorException")
            .Report(ENOENT, "open", "File %s could not be opened.", "a.avi");
    } catch (const GenICam::RuntimeException& e) {
        ASSERT_NE(dynamic_cast<const CLxWin32ErrorException*>(&e), nullptr);
        EXPECT_EQ(dynamic_cast<const CLxWin32ErrorException&>(e).GetErrorCode(), static_cast<uint32_t>(ENOENT));
        EXPECT_STREQ(e.GetDescription(), "open failed (error 2: No such file or directory) File a.avi could not be opened.");
        EXPECT_STREQ(e.GetSourceFileName(), "worker.cpp");
        EXPECT_EQ(e.GetSourceLine(), 42u);
        EXPECT_STREQ(e.GetExceptionType(), "CLxWin32ErrorException");
    }
    // A long text is cut at the common limit rather than overrun.
    const std::string longName(400, 'x');
    const CLxWin32ErrorException e =
        CLxWin32ErrorExceptionReporter("f", 1, "CLxWin32ErrorException").Report(5, "write", "%s", longName.c_str());
    EXPECT_EQ(std::string(e.GetDescription()).size(), GenICam::GenericException::MaxTextLength);
}

} // namespace
