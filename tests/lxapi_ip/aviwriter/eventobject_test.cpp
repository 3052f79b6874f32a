// Events: reset kinds, time-outs, waits on several events, and no wake-up lost between threads.
#include <lxsdkcommon/eventobject.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace std::chrono;

TEST(EventObject, ManualResetStaysSetUntilReset) {
    CEventObject e(false);
    EXPECT_FALSE(e.Wait(0));
    e.Set();
    EXPECT_TRUE(e.Wait(0));
    EXPECT_TRUE(e.Wait(0));
    EXPECT_TRUE(e.IsSet());
    e.Reset();
    EXPECT_FALSE(e.Wait(0));
    CEventObject initiallySet(true);
    EXPECT_TRUE(initiallySet.Wait(0));
}

TEST(EventObject, AutoResetIsTakenByOneWait) {
    CEventObject e(true, LxEventReset::Auto);
    EXPECT_TRUE(e.IsSet());
    EXPECT_TRUE(e.Wait(0));
    EXPECT_FALSE(e.Wait(0));
    e.Set();
    CEventObject other(false);
    EXPECT_EQ(CEventObject::WaitAny({&other, &e}, 0), 1);
    EXPECT_FALSE(e.IsSet());
}

TEST(EventObject, TimeOutIsKeptAndASetFromAnotherThreadWakesAtOnce) {
    CEventObject e(false);
    auto t0 = steady_clock::now();
    EXPECT_FALSE(e.Wait(50));
    EXPECT_GE(steady_clock::now() - t0, milliseconds(50));

    std::thread setter([&] {
        std::this_thread::sleep_for(milliseconds(20));
        e.Set();
    });
    t0 = steady_clock::now();
    EXPECT_TRUE(e.Wait(LxWaitInfinite));
    EXPECT_LT(steady_clock::now() - t0, seconds(5));
    setter.join();
}

TEST(EventObject, WaitAnyAnswersTheLowestSetIndexOrTimeOut) {
    CEventObject a(false), b(false), c(false);
    CEventObject* all[] = {&a, &b, &c};
    auto t0 = steady_clock::now();
    EXPECT_EQ(CEventObject::WaitAny(all, 3, 30), LxWaitTimeout);
    EXPECT_GE(steady_clock::now() - t0, milliseconds(30));
    c.Set();
    EXPECT_EQ(CEventObject::WaitAny(all, 3, 0), 2);
    b.Set();
    EXPECT_EQ(CEventObject::WaitAny(all, 3, 0), 1);

    std::thread setter([&] {
        std::this_thread::sleep_for(milliseconds(20));
        a.Set();
    });
    b.Reset();
    c.Reset();
    EXPECT_EQ(CEventObject::WaitAny(all, 3, LxWaitInfinite), 0);
    setter.join();
}

// Producer and consumer hand over 20,000 tokens through two auto-reset events with WaitAny on the
// consumer side: a lost wake-up would hang (caught by the time-out) and a doubled take would count wrong.
TEST(EventObject, NoWakeUpIsLostUnderLoad) {
    CEventObject work(false, LxEventReset::Auto), done(false, LxEventReset::Auto), stop(false);
    constexpr int Tokens = 20000;
    std::atomic<int> received{0};
    std::thread consumer([&] {
        CEventObject* events[] = {&stop, &work};
        for (;;) {
            int i = CEventObject::WaitAny(events, 2, 10000);
            if (i != 1) return;
            received.fetch_add(1);
            done.Set();
        }
    });
    int handed = 0;
    for (; handed < Tokens; ++handed) {
        work.Set();
        if (!done.Wait(10000)) break;
    }
    stop.Set();
    consumer.join();
    EXPECT_EQ(handed, Tokens);
    EXPECT_EQ(received.load(), Tokens);
}

// Many threads wait on one manual-reset event: one Set releases them all.
TEST(EventObject, ManualSetReleasesEveryWaiter) {
    CEventObject gate(false), other(false);
    std::atomic<int> released{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
        threads.emplace_back([&, i] {
            bool ok = (i % 2) ? gate.Wait(10000) : CEventObject::WaitAny({&other, &gate}, 10000) == 1;
            if (ok) released.fetch_add(1);
        });
    std::this_thread::sleep_for(milliseconds(20));
    gate.Set();
    for (auto& t : threads) t.join();
    EXPECT_EQ(released.load(), 6);
}
