#include "framequeue.h"

#include <lxapi/lxapi_tl.h>
#include "support/lxhugepages.h"

#include <sys/sysinfo.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {
// Page-aligned, as direct I/O wants the memory it writes from. Blocks of several huge pages get them:
// a frame is written from the first byte to the last, and each of its first touches would otherwise
// fault one small page at a time (a 2448 x 2048 colour frame is 3675 of them).
constexpr size_t kBlockAlignment = 4096;
}

CFrameData::CFrameData() : m_buffer(CreateILxImageBuffer(this)) {}

CFrameData::~CFrameData() {
    // The buffer gives its block back through Free while this object still stands.
    m_buffer.Reset();
}

void* CFrameData::Allocate(void** dataStart, size_t size) {
    if (size > SIZE_MAX - HeadRoom - TailRoom) throw std::bad_alloc();
    const size_t bytes = size + HeadRoom + TailRoom;
    auto* block = static_cast<uint8_t*>(lxip::AllocateLargeBlock(bytes, kBlockAlignment));
    // The room in front and behind is written by containers; it starts as zeros so that nothing stale
    // ever reaches a file.
    std::memset(block, 0, HeadRoom);
    std::memset(block + HeadRoom + size, 0, TailRoom);
    m_block = block;
    *dataStart = block + HeadRoom;
    return block;
}

void CFrameData::Free(void* context) {
    if (context == m_block) m_block = nullptr;
    std::free(context);
}

CFrameData* CFrameQueue::Pop() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_frames.empty()) {
        m_nonEmpty.Reset();
        return nullptr;
    }
    CFrameData* frame = m_frames.front();
    m_frames.pop_front();
    if (m_frames.empty()) m_nonEmpty.Reset();
    return frame;
}

void CFrameQueue::Push(CFrameData* frame) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_frames.push_back(frame);
    m_nonEmpty.Set();
}

void CFrameQueue::PushFront(CFrameData* frame) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_frames.push_front(frame);
    m_nonEmpty.Set();
}

void CFrameQueue::Clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_frames.clear();
    m_nonEmpty.Reset();
}

size_t CFrameQueue::Size() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_frames.size();
}

uint64_t AvailablePhysicalMemory() noexcept {
    if (FILE* f = std::fopen("/proc/meminfo", "r")) {
        char line[256];
        unsigned long long kib = 0;
        bool found = false;
        while (!found && std::fgets(line, sizeof line, f)) found = std::sscanf(line, "MemAvailable: %llu kB", &kib) == 1;
        std::fclose(f);
        if (found) return static_cast<uint64_t>(kib) * 1024;
    }
    struct sysinfo info {};
    if (sysinfo(&info) != 0) return 0;
    return (static_cast<uint64_t>(info.freeram) + info.bufferram) * info.mem_unit;
}
