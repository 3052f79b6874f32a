// An event that threads set and wait on: manual reset (stays set until reset, wakes every waiter) or
// auto reset (one waiter takes it and it falls back to not set). A thread may wait on one event or on
// any of several with a time-out, the way the long-running modules wait on "stop" or "work".
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

// Wait without a time limit.
constexpr uint32_t LxWaitInfinite = 0xFFFFFFFFu;
// The answer of WaitAny when no event was set within the time.
constexpr int LxWaitTimeout = -1;

enum class LxEventReset { Manual, Auto };

class CEventObject {
public:
    explicit CEventObject(bool initialState = false, LxEventReset reset = LxEventReset::Manual);
    CEventObject(const CEventObject&) = delete;
    CEventObject& operator=(const CEventObject&) = delete;
    ~CEventObject();

    void Set();
    void Reset();
    // The state as it is now; an auto-reset event is not taken by looking at it.
    bool IsSet() const;
    // True when the event is set within `milliseconds` (0 polls); an auto-reset event is taken.
    bool Wait(uint32_t milliseconds);
    // Waits until one of `count` events is set and answers the lowest index of a set one (an auto-reset
    // event answered is taken), or LxWaitTimeout.
    static int WaitAny(CEventObject* const* events, size_t count, uint32_t milliseconds);
    static int WaitAny(std::initializer_list<CEventObject*> events, uint32_t milliseconds) {
        return WaitAny(events.begin(), events.size(), milliseconds);
    }

private:
    struct Waiter;
    bool TryTakeLocked();
    bool TryTake();
    void Attach(Waiter* waiter);
    void Detach(Waiter* waiter);

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_set;
    const LxEventReset m_reset;
    // Threads in WaitAny on this event among others; each is woken by a Set.
    std::vector<Waiter*> m_waiters;
};
