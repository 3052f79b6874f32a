#include "worker.h"

#include <pthread.h>
#include <unistd.h>

#include <cstring>
#include <system_error>

CWorker::CWorker(const char* threadName) : m_threadName(threadName), m_stopEvent(false, LxEventReset::Manual) {}

CWorker::~CWorker() { Stop(); }

bool CWorker::Wait(uint32_t milliseconds) { return m_stopEvent.Wait(milliseconds); }

void CWorker::Stop() {
    if (!m_thread.joinable()) return;
    m_stopEvent.Set();
    if (m_thread.get_id() == std::this_thread::get_id()) return;
    m_thread.join();
}

void CWorker::Start() {
    Stop();
    m_stopEvent.Reset();
    try {
        m_thread = std::thread(&CWorker::ThreadProc, this);
    } catch (const std::system_error&) {
        // No thread: the handle stays empty, which the caller sees in IsStarted().
    }
}

void CWorker::ThreadProc() {
    m_threadId.store(static_cast<uint32_t>(gettid()));
    if (m_threadName) {
        // The kernel keeps 15 characters and the terminating zero.
        char name[16] = {};
        std::strncpy(name, m_threadName, sizeof name - 1);
        pthread_setname_np(pthread_self(), name);
    }
    m_running.store(1);
    uint32_t code = 0xFFFFFFFFu;
    try {
        code = Run();
    } catch (...) {
        // An exception must not end the process from a thread the caller never sees; the subclass reports
        // its own failures, and the exit code tells the rest.
    }
    m_exitCode.store(code);
    m_running.store(0);
    m_threadId.store(0);
}
