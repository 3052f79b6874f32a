// Shared pieces of the video filer tests: the module with a callback recorder, a scratch folder, an AVI
// reader written here from the RIFF layout (independent of the writer), images of random samples, and
// the external tools (ffprobe, ffmpeg) when they are installed.
#pragma once

#include "lxmoduletest.h"

#include <lxapi/ilxvideofiler.h>
#include <lxapi/lxpixelformat.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace lxtest {

using FilerPtr = CLxAutoPtr<ILxFilerReleasable, ILxFiler>;

// What the callbacks told, in order: "open <name>", "close <name>", "error <text>".
class Recorder : public ILxCallback {
public:
    void OnCallback(ILxCallbackParamBase* p) override {
        std::string line;
        switch (p->GetCallbackType()) {
        case LxCallbackType_VideoFilerOpen:
            line = std::string("open ") + dynamic_cast<ILxCallbackParamLxApiIPVideoFilerOpen*>(p)->GetFileName().c_str();
            if (onOpen) onOpen();
            break;
        case LxCallbackType_VideoFilerClose:
            line = std::string("close ") + dynamic_cast<ILxCallbackParamLxApiIPVideoFilerClose*>(p)->GetFileName().c_str();
            break;
        case LxCallbackType_VideoFilerError:
            line = std::string("error ") + dynamic_cast<ILxCallbackParamLxApiIPVideoFilerError*>(p)->GetException().GetDescription();
            break;
        default: line = "other";
        }
        std::lock_guard<std::mutex> lock(mutex);
        events.push_back(line);
        changed.notify_all();
    }
    void Release() override {}
    std::vector<std::string> Events() {
        std::lock_guard<std::mutex> lock(mutex);
        return events;
    }
    size_t Count(const std::string& prefix) {
        std::lock_guard<std::mutex> lock(mutex);
        size_t n = 0;
        for (auto& e : events) n += e.rfind(prefix, 0) == 0;
        return n;
    }
    // Waits until `n` events begin with `prefix`.
    bool WaitFor(const std::string& prefix, size_t n, int ms = 20000) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            size_t k = 0;
            for (auto& e : events) k += e.rfind(prefix, 0) == 0;
            if (k >= n) return true;
            if (changed.wait_until(lock, deadline) == std::cv_status::timeout) return false;
        }
    }
    std::function<void()> onOpen;

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> events;
};

struct VideoFiler {
    Recorder recorder;
    FilerPtr filer{CreateILxFiler(LxFilerType_Video)};
    ILxVideoFiler* typed = dynamic_cast<ILxVideoFiler*>(filer.Get());
    VideoFiler() { filer->RegisterCallback(&recorder); }
    ~VideoFiler() { filer.Reset(); }
};

class ScratchDir {
public:
    ScratchDir() {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_path = std::filesystem::temp_directory_path() /
                 ("lxvideo_" + std::to_string(::getpid()) + "_" + info->test_suite_name() + "_" + info->name());
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string File(const std::string& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

inline std::vector<uint8_t> ReadFile(const std::string& name) {
    std::ifstream f(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

inline uint32_t Le32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }

// An AVI 1.0 file as the RIFF layout says: the main header, the stream header and format, the chunks of
// the movi list in order, and the idx1 entries. `ok` is false (and `why` tells) when any size or offset
// does not add up.
struct AviFile {
    bool ok = false;
    std::string why;
    uint32_t microSecPerFrame = 0, totalFrames = 0, width = 0, height = 0, flags = 0;
    std::string handler;
    uint32_t scale = 0, rate = 0, length = 0, quality = 0;
    std::vector<uint8_t> format; // strf
    struct Chunk {
        std::string id;
        size_t offset; // of the data in the file
        uint32_t size;
    };
    std::vector<Chunk> chunks;
    struct IndexEntry {
        std::string id;
        uint32_t flags, offset, size;
    };
    std::vector<IndexEntry> index;
    size_t moviStart = 0; // of the "movi" word
    std::vector<uint8_t> bytes;

    const uint8_t* Data(const Chunk& c) const { return bytes.data() + c.offset; }
};

inline AviFile ParseAvi(const std::string& name) {
    AviFile a;
    a.bytes = ReadFile(name);
    const std::vector<uint8_t>& b = a.bytes;
    auto id = [&](size_t at) { return at + 4 <= b.size() ? std::string(reinterpret_cast<const char*>(&b[at]), 4) : std::string(); };
    auto fail = [&](const std::string& why) {
        a.why = why;
        return a;
    };
    if (b.size() < 12 || id(0) != "RIFF" || id(8) != "AVI ") return fail("no RIFF AVI");
    if (Le32(&b[4]) + 8 != b.size()) return fail("RIFF size " + std::to_string(Le32(&b[4])) + " for file of " + std::to_string(b.size()));
    size_t at = 12;
    while (at + 8 <= b.size()) {
        const std::string ck = id(at);
        const uint32_t size = Le32(&b[at + 4]);
        if (at + 8 + size > b.size()) return fail("chunk " + ck + " runs past the end");
        if (ck == "LIST" && id(at + 8) == "hdrl") {
            size_t h = at + 12;
            while (h + 8 <= at + 8 + size) {
                const std::string hk = id(h);
                const uint32_t hs = Le32(&b[h + 4]);
                if (hk == "avih") {
                    a.microSecPerFrame = Le32(&b[h + 8]);
                    a.flags = Le32(&b[h + 20]);
                    a.totalFrames = Le32(&b[h + 24]);
                    a.width = Le32(&b[h + 40]);
                    a.height = Le32(&b[h + 44]);
                } else if (hk == "LIST" && id(h + 8) == "strl") {
                    size_t s = h + 12;
                    while (s + 8 <= h + 8 + hs) {
                        const std::string sk = id(s);
                        const uint32_t ss = Le32(&b[s + 4]);
                        if (sk == "strh") {
                            a.handler = id(s + 12);
                            a.scale = Le32(&b[s + 28]);
                            a.rate = Le32(&b[s + 32]);
                            a.length = Le32(&b[s + 40]);
                            a.quality = Le32(&b[s + 48]);
                        } else if (sk == "strf") {
                            a.format.assign(b.begin() + long(s + 8), b.begin() + long(s + 8 + ss));
                        }
                        s += 8 + ss + (ss & 1);
                    }
                }
                h += 8 + hs + (hs & 1);
            }
        } else if (ck == "LIST" && id(at + 8) == "movi") {
            a.moviStart = at + 8;
            size_t m = at + 12;
            while (m + 8 <= at + 8 + size) {
                const uint32_t ms = Le32(&b[m + 4]);
                if (m + 8 + ms > at + 8 + size) return fail("movi chunk runs past its list");
                a.chunks.push_back({id(m), m + 8, ms});
                m += 8 + ms + (ms & 1);
            }
        } else if (ck == "idx1") {
            for (size_t e = at + 8; e + 16 <= at + 8 + size; e += 16)
                a.index.push_back({id(e), Le32(&b[e + 4]), Le32(&b[e + 8]), Le32(&b[e + 12])});
        }
        at += 8 + size + (size & 1);
    }
    if (!a.moviStart) return fail("no movi list");
    if (a.index.size() != a.chunks.size()) return fail("index and chunks differ in number");
    for (size_t i = 0; i < a.index.size(); ++i) {
        if (a.moviStart + a.index[i].offset + 8 != a.chunks[i].offset || a.index[i].size != a.chunks[i].size ||
            a.index[i].id != a.chunks[i].id)
            return fail("index entry " + std::to_string(i) + " does not point at its chunk");
    }
    a.ok = true;
    return a;
}

// Random samples everywhere, padding included.
inline BufferPtr RandomImage(size_t width, size_t height, uint32_t format, uint32_t seed) {
    BufferPtr b = MakeImage(width, height, format);
    std::mt19937 rng(seed);
    ILxImage* img = b->GetILxImage();
    auto* p = static_cast<uint8_t*>(img->GetImageBuffer());
    for (size_t i = 0; i < img->GetImagePlaneSize(); ++i) p[i] = static_cast<uint8_t>(rng());
    return b;
}

// The bytes of `image`'s lines, top down, without padding.
inline std::vector<uint8_t> Lines(const BufferPtr& b, size_t bytesPerPixel) {
    ILxImage* img = b->GetILxImage();
    std::vector<uint8_t> out;
    for (size_t y = 0; y < img->GetImageHeight(); ++y) {
        const uint8_t* line = Bytes(b) + y * img->GetImageLinePitch();
        out.insert(out.end(), line, line + img->GetImageWidth() * bytesPerPixel);
    }
    return out;
}

// Waits until the filer has used every name and closed its file.
inline bool WaitFinished(ILxVideoFiler* f, int ms = 20000) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!f->IsFinished()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Runs a command and answers its standard output (empty when it cannot run).
inline std::string RunCommand(const std::string& command) {
    std::string out;
    if (FILE* p = ::popen(command.c_str(), "r")) {
        char buf[65536];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
        ::pclose(p);
    }
    return out;
}
inline std::string Quoted(const std::string& s) {
    std::string q = "'";
    q.append(s).append("'");
    return q;
}
// "r3.avi" from ("r", 3).
inline std::string Numbered(const char* prefix, int i) {
    std::string s = prefix;
    s.append(std::to_string(i)).append(".avi");
    return s;
}
inline bool HaveTool(const char* tool) { return std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0; }

} // namespace lxtest
