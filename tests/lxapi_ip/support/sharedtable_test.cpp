// The shared table, its cache and the references calls hold: reuse by key, a replaced table that lives
// on for the call still reading it, failures that leave the cache empty and unlocked, and the locked
// form in which calls run one after the other.
#include "support/lxsharedtable.h"

#include <GenICam/GCException.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <new>
#include <stdexcept>
#include <thread>

namespace {

std::atomic<int> g_alive{0};

// A table whose entries all hold its key, counting the tables alive.
class KeyTable : public lxip::CLxSharedTable<int> {
public:
    static KeyTable* Create(int key, size_t size) { return new KeyTable(key, size); }
    int Key() const { return m_key; }
    bool Intact() const {
        for (size_t i = 0; i < Size(); ++i)
            if ((*this)[i] != m_key) return false;
        return Entries()[Size()] == 0; // the spare entry
    }

private:
    KeyTable(int key, size_t size) : CLxSharedTable(size, 1), m_key(key) {
        for (size_t i = 0; i < size; ++i) (*this)[i] = key;
        ++g_alive;
    }
    ~KeyTable() override { --g_alive; }
    int m_key;
};

using Cache = lxip::CLxSharedTableCache<int, KeyTable>;

TEST(SharedTableCache, ReusesAnEqualKeyAndKeepsAReplacedTableForItsUser) {
    const int aliveBefore = g_alive;
    int builds = 0;
    auto build = [&](int key) {
        return [&builds, key] {
            ++builds;
            return KeyTable::Create(key, 64);
        };
    };
    {
        Cache cache;
        Cache::Ref first = cache.Acquire(1, build(1));
        Cache::Ref again = cache.Acquire(1, build(1));
        EXPECT_EQ(builds, 1);
        EXPECT_EQ(first.get(), again.get());
        EXPECT_EQ(first->RefCount(), 3u); // the cache's and two calls'
        again.reset();

        // A new key replaces the table; the call holding the old one still reads it whole.
        Cache::Ref second = cache.Acquire(2, build(2));
        EXPECT_EQ(builds, 2);
        EXPECT_NE(second.get(), first.get());
        EXPECT_EQ(first->RefCount(), 1u);
        EXPECT_TRUE(first->Intact());
        EXPECT_EQ(cache.Peek(), second.get());
        EXPECT_EQ(g_alive, aliveBefore + 2);
        first.reset(); // the last reference frees it
        EXPECT_EQ(g_alive, aliveBefore + 1);

        // A reference outlives the cache.
        Cache::Ref moved = std::move(second);
        EXPECT_FALSE(second);
        cache.Clear();
        EXPECT_EQ(cache.Peek(), nullptr);
        EXPECT_EQ(moved->RefCount(), 1u);
        EXPECT_TRUE(moved->Intact());
    }
    EXPECT_EQ(g_alive, aliveBefore);
}

TEST(SharedTableCache, AFailedBuildLeavesTheCacheEmptyUnlockedAndReadyToBuildAgain) {
    Cache cache;
    cache.Acquire(1, [] { return KeyTable::Create(1, 8); });
    ASSERT_NE(cache.Peek(), nullptr);
    try {
        cache.Acquire(2, []() -> KeyTable* { throw std::bad_alloc(); });
        FAIL() << "no exception";
    } catch (const GenICam::BadAllocException& e) {
        EXPECT_STREQ(e.GetDescription(), std::bad_alloc().what());
    }
    EXPECT_EQ(cache.Peek(), nullptr);
    // Other failures pass unchanged, with the same state left behind.
    EXPECT_THROW(cache.Acquire(2, []() -> KeyTable* { throw std::runtime_error("x"); }), std::runtime_error);
    EXPECT_EQ(cache.Peek(), nullptr);
    // The key of the failed build was recorded, yet with no table the next call builds.
    auto other = std::async(std::launch::async, [&] { return cache.Acquire(2, [] { return KeyTable::Create(2, 8); })->Key(); });
    ASSERT_EQ(other.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(other.get(), 2);
}

TEST(SharedTableCache, ALockedReferenceKeepsOtherCallsOutUntilItEnds) {
    Cache cache;
    std::future<int> waiting;
    {
        Cache::LockedRef locked = cache.AcquireLocked(1, [] { return KeyTable::Create(1, 8); });
        waiting = std::async(std::launch::async, [&] { return cache.Acquire(2, [] { return KeyTable::Create(2, 8); })->Key(); });
        EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
        // Meanwhile nobody replaced the table under the holder.
        EXPECT_EQ(locked->Key(), 1);
        EXPECT_TRUE(locked->Intact());
    }
    ASSERT_EQ(waiting.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(waiting.get(), 2);
    // A failed build gives the lock back as well.
    EXPECT_THROW(cache.AcquireLocked(3, []() -> KeyTable* { throw std::bad_alloc(); }), GenICam::BadAllocException);
    auto after = std::async(std::launch::async, [&] { return bool(cache.Acquire(4, [] { return KeyTable::Create(4, 8); })); });
    ASSERT_EQ(after.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_TRUE(after.get());
}

TEST(SharedTableCache, ConcurrentCallsAlwaysReadTheTableOfTheirKey) {
    // Two threads ask for different keys, so nearly every call replaces the table the other reads;
    // a table freed too early shows as torn entries here and as a use after free under ASan.
    Cache cache;
    auto worker = [&](int key) {
        for (int i = 0; i < 2000; ++i) {
            Cache::Ref t = cache.Acquire(key, [key] { return KeyTable::Create(key, 256); });
            if (t->Key() != key || !t->Intact()) return false;
            std::this_thread::yield();
            if (!t->Intact()) return false;
        }
        return true;
    };
    auto a = std::async(std::launch::async, worker, 1);
    auto b = std::async(std::launch::async, worker, 2);
    EXPECT_TRUE(a.get());
    EXPECT_TRUE(b.get());
}

} // namespace
