// The worker: start, stop and restart, the thread's name and id, and a Run that throws.
#include <lxsdkcommon/worker.h>

#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <string>

using namespace std::chrono;

namespace {
class CountingWorker : public CWorker {
public:
    explicit CountingWorker(const char* name = nullptr) : CWorker(name) {}
    ~CountingWorker() override { Stop(); }
    uint32_t Run() override {
        int me = runs.fetch_add(1) + 1;
        if (concurrent.fetch_add(1) != 0) overlapped = true;
        char buf[32] = {};
        pthread_getname_np(pthread_self(), buf, sizeof buf);
        seenName = buf;
        seenId = GetThreadId();
        seenRunning = IsRunning();
        started.Set();
        while (!Wait(1)) ticks.fetch_add(1);
        concurrent.fetch_sub(1);
        if (throws) throw std::runtime_error("run failed");
        return static_cast<uint32_t>(me);
    }
    std::atomic<int> runs{0}, concurrent{0}, ticks{0};
    std::atomic<bool> overlapped{false}, throws{false};
    std::string seenName;
    uint32_t seenId = 0;
    bool seenRunning = false;
    CEventObject started{false, LxEventReset::Auto};
};
} // namespace

TEST(Worker, StopWithoutThreadIsHarmlessAndWaitFollowsTheStopEvent) {
    CountingWorker w;
    w.Stop();
    w.Stop();
    EXPECT_FALSE(w.IsStarted());
    EXPECT_FALSE(w.Wait(0));
    w.GetStopEvent()->Set();
    EXPECT_TRUE(w.Wait(0));
    EXPECT_EQ(w.GetThreadPriority(), 0);
}

TEST(Worker, RunsNamedAndStopsAndRestartsOneAtATime) {
    CountingWorker w("LxApi_IP_Video");
    w.Start();
    ASSERT_TRUE(w.started.Wait(10000));
    EXPECT_TRUE(w.IsStarted());
    w.Start(); // ends the first thread before the second begins
    ASSERT_TRUE(w.started.Wait(10000));
    auto t0 = steady_clock::now();
    w.Stop();
    EXPECT_LT(steady_clock::now() - t0, seconds(1));
    EXPECT_EQ(w.runs.load(), 2);
    EXPECT_FALSE(w.overlapped.load());
    EXPECT_EQ(w.seenName, "LxApi_IP_Video");
    EXPECT_NE(w.seenId, 0u);
    EXPECT_TRUE(w.seenRunning);
    EXPECT_FALSE(w.IsRunning());
    EXPECT_EQ(w.GetThreadId(), 0u);
    EXPECT_EQ(w.GetExitCode(), 2u);
    EXPECT_FALSE(w.IsStarted());
}

TEST(Worker, LongNameIsCutAndAThrowingRunEndsQuietly) {
    CountingWorker w("A_thread_name_longer_than_fifteen");
    w.throws = true;
    w.Start();
    ASSERT_TRUE(w.started.Wait(10000));
    w.Stop();
    EXPECT_EQ(w.seenName, "A_thread_name_l");
    EXPECT_EQ(w.GetExitCode(), 0xFFFFFFFFu);
}

TEST(Worker, DestructorStopsARunningThread) {
    auto* w = new CountingWorker("LxApi_IP_Video");
    w->Start();
    ASSERT_TRUE(w->started.Wait(10000));
    delete w; // must join, not hang or leave a thread touching freed memory
}
