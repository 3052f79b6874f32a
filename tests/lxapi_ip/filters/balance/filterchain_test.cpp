// The filter chain: order of the filters, what each receives, failures passing through, ownership
// (every element released exactly once, by Release, Deregister's caller or the destructor), and the
// index rules of the pointer array.
#include "lxmoduletest.h"

#include <lxapi/ilxgammacorrectionfilter.h>

#include <cmath>
#include <string>
#include <vector>

using namespace lxtest;

namespace {

// A filter that records its calls in a shared log, answers a chosen image and can be made to throw.
class LoggingFilter : public ILxFilterReleasable {
public:
    LoggingFilter(std::string name, std::vector<std::string>& log) : m_name(std::move(name)), m_log(log) {}
    ILxFilterInfo* GetFilterInfo() override { return nullptr; }
    ILxImage* Filter(ILxImage* image) override {
        m_log.push_back(m_name + ".Filter");
        m_received = image;
        if (m_throws) throw RUNTIME_EXCEPTION("%s fails", m_name.c_str());
        return m_answer ? m_answer : image;
    }
    GenApi::INodeMap* GetINodeMap() override { return nullptr; }
    LX_CALLBACK_HANDLE RegisterCallback(ILxCallback*) override { return nullptr; }
    void DeregisterCallback(LX_CALLBACK_HANDLE) override {}
    void Release() override {
        m_log.push_back(m_name + ".Release");
        if (m_releaseThrows) throw RUNTIME_EXCEPTION("%s release fails", m_name.c_str());
    }

    ILxImage* m_received = nullptr;
    ILxImage* m_answer = nullptr;
    bool m_throws = false;
    bool m_releaseThrows = false;

private:
    std::string m_name;
    std::vector<std::string>& m_log;
};

ILxImage* Fake(uintptr_t n) { return reinterpret_cast<ILxImage*>(n * 64); }

using Log = std::vector<std::string>;

} // namespace

TEST(FilterChain, RunsInRegistrationOrderHandingEachResultOn) {
    Log log;
    LoggingFilter a("a", log), b("b", log), c("c", log);
    a.m_answer = Fake(2);
    b.m_answer = Fake(3);
    CILxFilterPtrArray chain;
    EXPECT_EQ(chain.Filter(Fake(1)), Fake(1)); // empty: the pointer comes back and nothing is called
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(chain.Register(&a), 0u);
    EXPECT_EQ(chain.Register(&b), 1u);
    EXPECT_EQ(chain.Register(&c), 2u);
    EXPECT_EQ(chain.Filter(Fake(1)), Fake(3));
    EXPECT_EQ(a.m_received, Fake(1));
    EXPECT_EQ(b.m_received, Fake(2));
    EXPECT_EQ(c.m_received, Fake(3));
    chain.Release();
    EXPECT_EQ(log, (Log{"a.Filter", "b.Filter", "c.Filter", "a.Release", "b.Release", "c.Release"}));
    // Usable again after Release.
    EXPECT_EQ(chain.GetSize(), 0u);
    EXPECT_EQ(chain.Register(&a), 0u);
    EXPECT_EQ(chain.Deregister(0), &a);
}

TEST(FilterChain, AFailingFilterStopsTheRunAndLeavesTheChainAsItWas) {
    Log log;
    LoggingFilter a("a", log), b("b", log), c("c", log);
    b.m_throws = true;
    {
        CILxFilterPtrArray chain;
        chain.Register(&a);
        chain.Register(&b);
        chain.Register(&c);
        EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { chain.Filter(Fake(1)); }), "b fails");
        EXPECT_EQ(chain.GetSize(), 3u);
        b.m_throws = false;
        EXPECT_EQ(chain.Filter(Fake(1)), Fake(1));
    }
    EXPECT_EQ(log, (Log{"a.Filter", "b.Filter", "a.Filter", "b.Filter", "c.Filter", "a.Release", "b.Release",
                        "c.Release"}));
}

TEST(FilterChain, EveryElementIsReleasedOnceWhateverEndsIt) {
    Log log;
    LoggingFilter a("a", log), b("b", log), c("c", log);
    {
        CILxFilterPtrArray chain;
        chain.Register(&a);
        chain.Register(&a); // twice: two entries, two releases
        chain.Register(&b);
        chain.Register(&c);
        EXPECT_EQ(chain.Deregister(3), &c); // the caller owns c now
        EXPECT_EQ(chain.GetSize(), 3u);
        EXPECT_EQ(chain[2], static_cast<ILxFilter*>(&b));
    }
    EXPECT_EQ(log, (Log{"a.Release", "a.Release", "b.Release"}));

    // A Release that throws inside the destructor is dropped; the rest are still released once.
    log.clear();
    b.m_releaseThrows = true;
    {
        CILxFilterPtrArray chain;
        chain.Register(&a);
        chain.Register(&b);
        chain.Register(&c);
    }
    EXPECT_EQ(log, (Log{"a.Release", "b.Release", "c.Release"}));
}

TEST(FilterChain, IndexRules) {
    Log log;
    LoggingFilter a("a", log);
    CILxFilterPtrArray chain;
    chain.Register(&a);
    EXPECT_EQ(chain.Register(nullptr), 1u); // taken ...
    EXPECT_EQ(TextOf<GenICam::LogicalErrorException>([&] { chain[1]; }), "Unexpected type in dynamic cast");
    EXPECT_EQ(TextOf<GenICam::LogicalErrorException>([&] { chain.Filter(Fake(1)); }),
              "Unexpected type in dynamic cast"); // ... and raises where it is used
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { chain[2]; }), "nIndex = 2 must be smaller than Max = 2");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { chain.Deregister(size_t(-1)); }),
              "nIndex = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(chain.GetSize(), 2u);
    chain.Release(); // the null element is skipped
    EXPECT_EQ(log, (Log{"a.Filter", "a.Release"}));
}

TEST(FilterChain, RealFiltersOwnedByTheChain) {
    CILxFilterPtrArray chain;
    ILxFilterReleasable* gamma = CreateILxFilter(LxFilterType_GammaCorrection);
    dynamic_cast<ILxGammaCorrectionFilter*>(gamma)->SetGamma(2.0);
    chain.Register(gamma);
    chain.Register(CreateILxFilter(LxFilterType_BalanceRatio));
    BufferPtr img = MakeImage(4, 2, LxPixelFormat_Mono8);
    FillBytes(img, 128);
    EXPECT_EQ(chain.Filter(img->GetILxImage()), img->GetILxImage());
    EXPECT_EQ(Bytes(img)[0], uint8_t(std::pow(128 / 255.0, 2.0) * 255 + 0.5));
    // An unsupported format raises from the first filter; the image stays.
    BufferPtr rgb16 = MakeImage(4, 2, LxPixelFormat_RGB16);
    FillBytes(rgb16, 7);
    EXPECT_NE(TextOf<GenICam::RuntimeException>([&] { chain.Filter(rgb16->GetILxImage()); }).find("Not supported"),
              std::string::npos);
    EXPECT_EQ(Bytes(rgb16)[0], 7);
}
