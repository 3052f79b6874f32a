// Output streams and the buffered output of the JPEG encoder.
#include "jpegstream.h"

#include <cstdlib>
#include <cstring>

namespace lxjpeg {

int32_t CStdFileOutput2::Close() {
    m_file = nullptr;
    return 0;
}

int32_t CStdFileOutput2::Write(const void* buffer, uint32_t size, uint32_t& written) {
    written = m_file ? static_cast<uint32_t>(std::fwrite(buffer, 1, size, m_file)) : 0;
    return written < size ? -5 : 0;
}

int32_t CMemoryOutput::Write(const void* buffer, uint32_t size, uint32_t& written) {
    const size_t room = m_capacity - m_size;
    written = static_cast<uint32_t>(size < room ? size : room);
    if (written) std::memcpy(m_block + m_size, buffer, written);
    m_size += written;
    return written < size ? -5 : 0;
}

CMemoryBuffer::~CMemoryBuffer() { Free(); }

bool CMemoryBuffer::Allocate(size_t size) noexcept {
    Free();
    const size_t rounded = (size + 31) & ~static_cast<size_t>(31);
    m_data = static_cast<uint8_t*>(std::aligned_alloc(32, rounded ? rounded : 32));
    if (!m_data) return false;
    m_size = size;
    return true;
}

void CMemoryBuffer::Free() noexcept {
    std::free(m_data);
    m_data = nullptr;
    m_size = 0;
}

int32_t CBitStreamOutput::Attach(CBaseStream* stream, uint32_t size) noexcept {
    m_stream = stream;
    m_used = 0;
    m_written = 0;
    m_size = 0;
    if (!m_buffer.Allocate(size)) return -6;
    m_size = size;
    return 0;
}

int32_t CBitStreamOutput::PutByte(uint8_t b) noexcept {
    if (m_used == m_size) {
        const int32_t r = Flush();
        if (r) return r;
    }
    if (m_used > m_size || !m_buffer.Data()) return -4;
    m_buffer.Data()[m_used++] = b;
    return 0;
}

int32_t CBitStreamOutput::PutWord(uint16_t w) noexcept {
    const int32_t r = PutByte(static_cast<uint8_t>(w >> 8));
    return r ? r : PutByte(static_cast<uint8_t>(w));
}

int32_t CBitStreamOutput::Flush() noexcept {
    if (m_used == 0) return 0;
    if (!m_stream) return -5;
    const uint32_t asked = m_used;
    uint32_t written = 0;
    const int32_t r = m_stream->Write(m_buffer.Data(), asked, written);
    m_written += written;
    m_used = 0;
    if (r) return r;
    return written < asked ? -5 : 0;
}

} // namespace lxjpeg
