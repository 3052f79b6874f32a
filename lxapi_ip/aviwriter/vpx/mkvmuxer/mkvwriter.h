// The byte sink of the WebM muxer: an open stdio stream, written in order and patched by seeking
// back when the segment is finalised. The writer does not own the stream.
#pragma once

#include <cstdint>
#include <cstdio>

namespace mkvmuxer {

// What the segment needs from its output: write, tell, seek.
class IMkvWriter {
public:
    virtual ~IMkvWriter() = default;
    // Writes all `length` bytes; answers false when the stream refused some.
    virtual bool Write(const void* buffer, uint64_t length) = 0;
    virtual int64_t Position() const = 0;
    // Moves to `position`; answers false when the stream cannot seek there.
    virtual bool Position(int64_t position) = 0;
    virtual bool Seekable() const = 0;
};

class MkvWriter final : public IMkvWriter {
public:
    explicit MkvWriter(FILE* stream) : m_stream(stream) {}
    bool Write(const void* buffer, uint64_t length) override;
    int64_t Position() const override;
    bool Position(int64_t position) override;
    bool Seekable() const override { return true; }

private:
    FILE* m_stream;
};

} // namespace mkvmuxer
