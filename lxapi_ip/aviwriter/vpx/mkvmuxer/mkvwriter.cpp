#include "mkvwriter.h"

namespace mkvmuxer {

bool MkvWriter::Write(const void* buffer, uint64_t length) {
    if (!m_stream) return false;
    return length == 0 || std::fwrite(buffer, 1, length, m_stream) == length;
}

int64_t MkvWriter::Position() const { return m_stream ? int64_t(ftello(m_stream)) : -1; }

bool MkvWriter::Position(int64_t position) {
    return m_stream && position >= 0 && fseeko(m_stream, off_t(position), SEEK_SET) == 0;
}

} // namespace mkvmuxer
