#pragma once
// Lines of an image for a kernel that reads or writes 16-bit samples through typed pointers. A
// caller's buffer may start at any address, and a line alignment asked of the converter may give a
// line pitch that is not a multiple of the sample size; lines that do not all start on a multiple of
// the sample size are staged in an aligned copy. Only that rare case pays for the copies.
#include "lxiputil.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace lxip {

class CAlignedLines {
public:
    // `lineBytes` is what the kernel reads or writes of each line; the pitch may be negative (lines
    // filled from the last upwards). The copy always starts with what the buffer holds, so that samples
    // a kernel leaves alone (an alpha kept, a padding) come back as they were; with `writeBack` the
    // lines are copied back into the buffer by the destructor.
    CAlignedLines(void* data, ptrdiff_t pitch, size_t lineBytes, size_t lines, size_t sampleBytes, bool writeBack)
        : data_(static_cast<uint8_t*>(data)), pitch_(pitch), lineBytes_(lineBytes), lines_(lines),
          writeBack_(writeBack), stagedData_(data_), stagedPitch_(pitch) {
        if (sampleBytes < 2 || lines == 0) return;
        const uintptr_t mask = sampleBytes - 1;
        if (((reinterpret_cast<uintptr_t>(data_) | static_cast<uintptr_t>(pitch)) & mask) == 0) return;
        const size_t stagedPitch = (lineBytes + 63) & ~size_t(63);
        TranslateBadAlloc([&] { store_.resize(stagedPitch * lines + 64); });
        const uintptr_t start = reinterpret_cast<uintptr_t>(store_.data());
        stagedData_ = store_.data() + ((64 - start % 64) % 64);
        stagedPitch_ = static_cast<ptrdiff_t>(stagedPitch);
        for (size_t y = 0; y < lines; ++y) std::memcpy(Line(stagedData_, stagedPitch_, y), Line(data_, pitch_, y), lineBytes);
    }
    ~CAlignedLines() {
        if (!writeBack_ || store_.empty()) return;
        for (size_t y = 0; y < lines_; ++y) std::memcpy(Line(data_, pitch_, y), Line(stagedData_, stagedPitch_, y), lineBytes_);
    }
    CAlignedLines(const CAlignedLines&) = delete;
    CAlignedLines& operator=(const CAlignedLines&) = delete;

    uint8_t* Data() const { return stagedData_; }
    ptrdiff_t Pitch() const { return stagedPitch_; }
    bool Staged() const { return !store_.empty(); }

private:
    static uint8_t* Line(uint8_t* base, ptrdiff_t pitch, size_t y) { return base + static_cast<ptrdiff_t>(y) * pitch; }

    uint8_t* const data_;
    const ptrdiff_t pitch_;
    const size_t lineBytes_, lines_;
    const bool writeBack_;
    uint8_t* stagedData_;
    ptrdiff_t stagedPitch_;
    std::vector<uint8_t> store_;
};

} // namespace lxip
