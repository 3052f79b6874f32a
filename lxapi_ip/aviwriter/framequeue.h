// The video filer's frames and their queues. A CFrameData is the memory of one converted image: its
// pixels start 8 bytes into a block that holds 2056 more bytes behind them, so that a container can
// put a chunk header in front and padding behind and write the frame with no copy. Frames move between
// the free queue (the caller takes from it) and the filled queue (the worker takes from it); each queue
// has an event that is set while it holds a frame.
#pragma once

#include <lxapi/clxautoptr.h>
#include <lxapi/ilximage.h>
#include <lxsdkcommon/eventobject.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

class CFrameData : public ILxAllocator {
public:
    // Room in front of the pixels and behind them.
    static constexpr size_t HeadRoom = 8;
    static constexpr size_t TailRoom = 2056;

    CFrameData();
    ~CFrameData() override;
    CFrameData(const CFrameData&) = delete;
    CFrameData& operator=(const CFrameData&) = delete;

    void* Allocate(void** dataStart, size_t size) override;
    void Free(void* context) override;

    ILxImageBuffer* Buffer() { return m_buffer.Get(); }
    ILxImage* Image() { return m_buffer->GetILxImage(); }
    // The pixels' block: HeadRoom bytes before Image()->GetImageBuffer().
    uint8_t* Block() const { return m_block; }

    uint64_t frameNumber = 0;

private:
    uint8_t* m_block = nullptr;
    CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer> m_buffer;
};

class CFrameQueue {
public:
    // Takes the first frame, or null when empty; the event is reset when the last frame goes.
    CFrameData* Pop();
    // Adds at the back, or at the front (a frame handed back to be taken first); both set the event.
    // Free frames are handed back at the front: the caller takes the frame written last, so that a
    // writer that keeps up cycles through two or three frames whose memory is mapped and cached, and
    // the rest of the pool is never touched (a first touch of a frame costs a page fault per page).
    void Push(CFrameData* frame);
    void PushFront(CFrameData* frame);
    void Clear();
    size_t Size() const;
    CEventObject* GetEvent() { return &m_nonEmpty; }

private:
    mutable std::mutex m_mutex;
    std::deque<CFrameData*> m_frames;
    CEventObject m_nonEmpty{false, LxEventReset::Manual};
};

// The frames of one geometry, owned: every frame of the pool is in exactly one place at a time (the free
// queue, the caller's hands, the filled queue, or the worker's hands).
using CFramePool = std::vector<std::unique_ptr<CFrameData>>;

// Bytes of physical memory still available, from /proc/meminfo (MemAvailable), or from sysinfo where
// that line is missing; 0 when neither answers.
uint64_t AvailablePhysicalMemory() noexcept;
