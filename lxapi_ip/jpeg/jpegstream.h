// Output-stream layer of the JPEG encoder: an abstract stream, a borrowed C stream, a caller's memory
// block, and the buffered byte output the encoder writes through. Results are the encoder's integer
// codes (jpegencoder.h): 0 done, -4 buffer overrun, -5 short write, -6 out of memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace lxjpeg {

class CBaseStream {
public:
    virtual ~CBaseStream() = default;
    virtual int32_t Open() { return 0; }
    virtual int32_t Close() = 0;
    // Writes `size` bytes; `written` receives the count written.
    virtual int32_t Write(const void* buffer, uint32_t size, uint32_t& written) = 0;
};

class CBaseStreamOutput : public CBaseStream {};

// Writes to a C stream it does not own: Close forgets the stream and leaves it open.
class CStdFileOutput2 : public CBaseStreamOutput {
public:
    explicit CStdFileOutput2(std::FILE* file = nullptr) noexcept : m_file(file) {}
    void Attach(std::FILE* file) noexcept { m_file = file; }
    int32_t Close() override;
    int32_t Write(const void* buffer, uint32_t size, uint32_t& written) override;

private:
    std::FILE* m_file;
};

// Writes into a caller's block of memory; a write that does not fit stores what fits and answers -5.
class CMemoryOutput : public CBaseStreamOutput {
public:
    CMemoryOutput(void* block, size_t capacity) noexcept : m_block(static_cast<uint8_t*>(block)), m_capacity(capacity) {}
    int32_t Close() override { return 0; }
    int32_t Write(const void* buffer, uint32_t size, uint32_t& written) override;
    size_t Size() const noexcept { return m_size; }

private:
    uint8_t* m_block;
    size_t m_capacity;
    size_t m_size = 0;
};

// One block of memory aligned to 32 bytes, freed with the object.
class CMemoryBuffer {
public:
    CMemoryBuffer() = default;
    ~CMemoryBuffer();
    CMemoryBuffer(const CMemoryBuffer&) = delete;
    CMemoryBuffer& operator=(const CMemoryBuffer&) = delete;
    // Replaces the block by one of `size` bytes (contents undefined); false when out of memory.
    bool Allocate(size_t size) noexcept;
    void Free() noexcept;
    uint8_t* Data() const noexcept { return m_data; }
    size_t Size() const noexcept { return m_size; }

private:
    uint8_t* m_data = nullptr;
    size_t m_size = 0;
};

// Buffered byte output over a borrowed stream.
class CBitStreamOutput {
public:
    static constexpr uint32_t kBufferSize = 16384;

    // Borrows `stream` and allocates a buffer of `size` bytes, freeing an earlier one.
    int32_t Attach(CBaseStream* stream, uint32_t size) noexcept;
    int32_t PutByte(uint8_t b) noexcept;
    int32_t PutWord(uint16_t w) noexcept; // high byte first
    // Writes the buffered bytes through the stream and empties the buffer.
    int32_t Flush() noexcept;
    // Flushes when no more than `threshold` bytes are free.
    int32_t Flush(uint32_t threshold) noexcept { return Free() <= threshold ? Flush() : 0; }

    uint32_t Free() const noexcept { return m_size - m_used; }
    uint8_t* Data() noexcept { return m_buffer.Data(); }
    uint32_t Used() const noexcept { return m_used; }
    void SetUsed(uint32_t used) noexcept { m_used = used; }
    uint64_t Written() const noexcept { return m_written; }
    void ResetWritten() noexcept { m_written = 0; }

private:
    CBaseStream* m_stream = nullptr;
    CMemoryBuffer m_buffer;
    uint32_t m_size = 0;
    uint32_t m_used = 0;
    uint64_t m_written = 0; // 64-bit: a large frame must not wrap the count the caller reads
};

} // namespace lxjpeg
