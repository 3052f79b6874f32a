#include "eventobject.h"

#include <algorithm>
#include <chrono>

namespace {
using Clock = std::chrono::steady_clock;
}

// One thread in WaitAny: any of its events pings it when set. The ping is cleared before the thread looks
// at the events, so that a Set between the look and the sleep is never missed.
struct CEventObject::Waiter {
    std::mutex mutex;
    std::condition_variable wake;
    bool pinged = false;
};

CEventObject::CEventObject(bool initialState, LxEventReset reset) : m_set(initialState), m_reset(reset) {}

CEventObject::~CEventObject() = default;

void CEventObject::Set() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_set = true;
    if (m_reset == LxEventReset::Auto)
        m_changed.notify_one();
    else
        m_changed.notify_all();
    // Lock order: event, then waiter. A waiter never takes an event's lock while it holds its own.
    for (Waiter* waiter : m_waiters) {
        std::lock_guard<std::mutex> wl(waiter->mutex);
        waiter->pinged = true;
        waiter->wake.notify_one();
    }
}

void CEventObject::Reset() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_set = false;
}

bool CEventObject::IsSet() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_set;
}

bool CEventObject::TryTakeLocked() {
    if (!m_set) return false;
    if (m_reset == LxEventReset::Auto) m_set = false;
    return true;
}

bool CEventObject::TryTake() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return TryTakeLocked();
}

bool CEventObject::Wait(uint32_t milliseconds) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (milliseconds == LxWaitInfinite) {
        m_changed.wait(lock, [this] { return m_set; });
    } else if (!m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return m_set; })) {
        return false;
    }
    return TryTakeLocked();
}

void CEventObject::Attach(Waiter* waiter) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_waiters.push_back(waiter);
}

void CEventObject::Detach(Waiter* waiter) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_waiters.erase(std::find(m_waiters.begin(), m_waiters.end(), waiter));
}

int CEventObject::WaitAny(CEventObject* const* events, size_t count, uint32_t milliseconds) {
    if (count == 0) return LxWaitTimeout;
    if (count == 1) return events[0]->Wait(milliseconds) ? 0 : LxWaitTimeout;

    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    Waiter waiter;
    for (size_t i = 0; i < count; ++i) events[i]->Attach(&waiter);
    int answer = LxWaitTimeout;
    for (;;) {
        {
            std::lock_guard<std::mutex> wl(waiter.mutex);
            waiter.pinged = false;
        }
        for (size_t i = 0; i < count && answer == LxWaitTimeout; ++i)
            if (events[i]->TryTake()) answer = static_cast<int>(i);
        if (answer != LxWaitTimeout) break;
        std::unique_lock<std::mutex> wl(waiter.mutex);
        if (milliseconds == LxWaitInfinite) {
            waiter.wake.wait(wl, [&] { return waiter.pinged; });
        } else if (!waiter.wake.wait_until(wl, deadline, [&] { return waiter.pinged; })) {
            break;
        }
    }
    for (size_t i = 0; i < count; ++i) events[i]->Detach(&waiter);
    return answer;
}
