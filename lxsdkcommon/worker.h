// A thread base class for the long-running modules. A subclass writes Run(), which loops on Wait() until
// the stop event is set; Start() begins the thread (ending one still running first), Stop() sets the
// stop event and joins. A subclass must call Stop() in its own destructor: by the time this base's
// destructor runs, the subclass's Run and members are gone.
#pragma once

#include "eventobject.h"

#include <atomic>
#include <cstdint>
#include <thread>

class IWorker {
public:
    virtual bool Wait(uint32_t milliseconds) = 0;
    virtual CEventObject* GetStopEvent() = 0;
    virtual ~IWorker() = default;
    virtual void Stop() = 0;
    virtual uint32_t Run() = 0;
};

class CWorker : public IWorker {
public:
    // `threadName` (may be null) names the thread for debuggers and `top`; it must outlive the worker.
    explicit CWorker(const char* threadName = nullptr);
    CWorker(const CWorker&) = delete;
    CWorker& operator=(const CWorker&) = delete;

    // True when the stop event is set within `milliseconds`.
    bool Wait(uint32_t milliseconds) override;
    CEventObject* GetStopEvent() override { return &m_stopEvent; }
    ~CWorker() override;
    // Sets the stop event and waits for the thread without limit. Does nothing without a thread. Called
    // from the worker's own thread it only sets the stop event (joining itself would never return).
    void Stop() override;

    // Ends a thread still running, resets the stop event and begins a new thread. A thread that cannot
    // be made leaves the worker without one and says nothing: IsStarted() tells.
    void Start();
    bool IsStarted() const { return m_thread.joinable(); }
    bool IsRunning() const { return m_running.load() != 0; }
    // The kernel's id of the thread while Run executes, 0 otherwise.
    uint32_t GetThreadId() const { return m_threadId.load(); }
    // Kept for the interface; threads run at the normal priority on this platform.
    int32_t GetThreadPriority() const { return m_priority; }
    // What the last Run returned; 0xFFFFFFFF when it ended by an exception.
    uint32_t GetExitCode() const { return m_exitCode.load(); }

private:
    void ThreadProc();

    const char* m_threadName;
    CEventObject m_stopEvent;
    std::thread m_thread;
    std::atomic<int32_t> m_running{0};
    int32_t m_priority = 0;
    std::atomic<uint32_t> m_threadId{0};
    std::atomic<uint32_t> m_exitCode{0};
};
