#include "vpxvideofile.h"

#include "stillimage/lxfile.h"
#include "video_writer.h"

#include <GenICam/GCException.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <new>
#include <string>

namespace {

// The open file of the loop: the stream and its WebM writer. Dropping it without Finalize closes
// the stream and leaves whatever was written.
struct WritingContext {
    FILE* stream = nullptr;
    std::unique_ptr<CVpxWebMWriter> writer;
    ~WritingContext() { Release(); }
    void Release() noexcept {
        writer.reset();
        if (stream) std::fclose(stream);
        stream = nullptr;
    }
};

uint64_t TimeOfDaySeed() {
    return uint64_t(std::chrono::system_clock::now().time_since_epoch().count());
}

} // namespace

CVpxVideoFile::CVpxVideoFile(CFrameQueue& freeFrames, CFrameQueue& filledFrames, IAVIFileStatusListener& listener)
    : CVideoFile(freeFrames, filledFrames, listener) {
    m_sizeLimit = SizeLimit;
}

CVpxVideoFile::~CVpxVideoFile() { Stop(); }

uint32_t CVpxVideoFile::SetFormat(uint32_t, uint32_t, uint32_t, uint32_t, bool, int32_t, bool, int32_t) {
    // The encoder takes its size from the first frame, and frames carry their own geometry.
    return IsStarted() ? 12 : 0;
}

// The file loop: a name, the file, frames until the span of frame numbers reaches the maximum frame
// count or the file its size limit, then the encoder's last packets, the closed callback, and the
// completed file. Any failure ends the file, is reported through OnException and the loop goes on
// with the next name; the encoder lives on.
uint32_t CVpxVideoFile::Run() {
    CEventObject* stop = GetStopEvent();
    for (;;) {
        // A stop ends the loop once the frames already queued are written, as far as names last.
        if (stop->IsSet() && m_filledFrames.Size() == 0) break;
        if (CEventObject::WaitAny({m_listener.GetNameEvent(), stop}, LxWaitInfinite) != 0) break;
        std::string name;
        WritingContext context;
        bool stopped = false;
        try {
            if (!m_listener.GetNextFileName(name)) continue;
            lxfile::CreateParentDirectories(name);
            context.stream = std::fopen(name.c_str(), "wb");
            if (!context.stream) throw RUNTIME_EXCEPTION("%s can't be written to.", name.c_str());
            m_listener.OnFileOpened(name);
            m_vpx.SetFrameRate(m_frameRate);
            m_vpx.SetQuality(m_quality);

            bool haveBase = false;
            uint64_t base = 0, next = 0;
            for (;;) {
                if (CEventObject::WaitAny({m_filledFrames.GetEvent(), stop}, LxWaitInfinite) != 0) {
                    stopped = true;
                    break;
                }
                CFrameData* frame = m_filledFrames.Pop();
                if (!frame) continue;
                if (!haveBase) {
                    base = frame->frameNumber;
                    haveBase = true;
                }
                const uint64_t index = frame->frameNumber - base;
                if (index >= m_maximumFrameCount) {
                    m_filledFrames.PushFront(frame);
                    break;
                }
                // The frame goes back to the free queue whatever happens to it here.
                struct Giveback {
                    CFrameQueue& queue;
                    CFrameData* frame;
                    ~Giveback() { queue.PushFront(frame); }
                } giveback{m_freeFrames, frame};
                ILxImage* image = frame->Image();
                const size_t width = image->GetImageWidth(), height = image->GetImageHeight();
                if (width % 2 || height % 2)
                    throw RUNTIME_EXCEPTION("Not supported image size %u x %u", unsigned(width), unsigned(height));
                if (!m_vpx.IsInitialized()) m_vpx.Initialize(width, height, CLxVpx::FourccVP8);
                const bool first = !context.writer;
                if (first) {
                    context.writer = std::make_unique<CVpxWebMWriter>(context.stream);
                    context.writer->WriteHeader(width, height, m_vpx.Fourcc(), TimeOfDaySeed());
                }
                const vpx_rational_t timebase = m_vpx.Config().g_timebase;
                CVpxWebMWriter& writer = *context.writer;
                m_vpx.Encode(image, int64_t(index), m_vpx.FlagsFor(index, first),
                             [&](const vpx_codec_cx_pkt_t& p) { writer.WritePacket(p, timebase); });
                next = index + 1;
                if (uint64_t(writer.Position()) > SizeLimit) break;
            }
            // The encoder's last packets belong to this file.
            if (context.writer) {
                CVpxWebMWriter& writer = *context.writer;
                const vpx_rational_t timebase = m_vpx.Config().g_timebase;
                while (m_vpx.Encode(nullptr, int64_t(next), 0,
                                    [&](const vpx_codec_cx_pkt_t& p) { writer.WritePacket(p, timebase); })) {}
            }
            // Closed is told first, and the file is completed after it.
            m_listener.OnFileClosed(name);
            if (context.writer) context.writer->Finalize();
            context.Release();
        } catch (const GenICam::GenericException& e) {
            context.Release();
            m_listener.OnException(e);
            continue;
        } catch (const std::bad_alloc& e) {
            context.Release();
            m_listener.OnException(GenICam::GenericException(e.what(), __FILE__, __LINE__, "BadAllocException"));
            continue;
        }
        if (stopped) break;
    }
    m_finished.Set();
    return 0;
}
