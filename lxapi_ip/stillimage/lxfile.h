// The file layer of the filers: the one place that opens, writes, reads and closes files. Names are
// UTF-8 paths. A write that does not take every byte (a full disk, a closed pipe) throws "File %s is
// unwritable."; readers get counts and decide themselves what a short read means. Writes go straight
// to the operating system: small pieces gather in a buffer of the file's own, large blocks and lists
// of image lines are handed over without a copy.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lxfile {

// The texts of the file failures; `name` is the file name as the caller gave it.
[[noreturn]] void ThrowUnwritable(const std::string& name);
[[noreturn]] void ThrowUnreadable(const std::string& name);
[[noreturn]] void ThrowNotOpened(const std::string& name);

// Creates every missing directory above the file `name` (the part before its last '/'), silently: a
// failure shows only when the file itself cannot be opened. A name without a directory part creates
// nothing.
void CreateParentDirectories(const std::string& name) noexcept;

class CFile {
public:
    enum class Mode : uint8_t {
        Read,  // an existing file, from its start
        Write, // created or emptied
    };

    CFile() = default;
    // Closes without reporting: a partly written file stays as it is.
    ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // Opens `name`; false when it cannot be opened (a directory counts as not opened). `name` is kept
    // for the messages.
    bool Open(const std::string& name, Mode mode) noexcept;
    // Opens for writing or throws "File %s is unwritable.".
    void OpenForWriting(const std::string& name);
    // Opens for reading or throws "File %s could not be opened.".
    void OpenForReading(const std::string& name);
    bool IsOpen() const noexcept { return m_fd >= 0; }
    const std::string& Name() const noexcept { return m_name; }

    // ---- writing ----
    void Write(const void* data, size_t size);
    // `rows` lines of `rowBytes` bytes, the first at `first`, each next one `step` bytes further (a
    // negative step walks upwards), each followed by `padBytes` zero bytes (at most 15).
    void WriteRows(const uint8_t* first, ptrdiff_t step, size_t rows, size_t rowBytes, size_t padBytes);
    // Hands what is gathered to the operating system.
    void Flush();
    // Flushes and closes; a failure of either throws "File %s is unwritable." for a file written.
    void Close();

    // ---- reading ----
    // Reads up to `size` bytes; returns how many were read (fewer only at the end of the file or on an
    // error).
    size_t Read(void* data, size_t size) noexcept;
    // Reads exactly `size` bytes or throws "File %s is unreadable.".
    void ReadExact(void* data, size_t size);
    // The counterpart of WriteRows: `rows` lines of `rowBytes` bytes into memory from `first` on, `step`
    // bytes apart, skipping `padBytes` (at most 15) behind each line in the file. Throws "File %s is
    // unreadable." when the file ends first.
    void ReadRows(uint8_t* first, ptrdiff_t step, size_t rows, size_t rowBytes, size_t padBytes);
    // Moves to `offset` from the start; false if that fails.
    bool Seek(uint64_t offset) noexcept;
    // The length of the file in bytes; false when it is not a regular file of known length.
    bool Length(uint64_t* length) const noexcept;

private:
    void WriteDirect(const void* data, size_t size);

    int m_fd = -1;
    Mode m_mode = Mode::Read;
    std::string m_name;
    std::vector<uint8_t> m_gather; // small writes, handed over in large pieces
    size_t m_gathered = 0;
};

// Little-endian fields of file headers.
inline uint16_t LoadLE16(const uint8_t* p) noexcept { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline uint32_t LoadLE32(const uint8_t* p) noexcept {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}
inline uint64_t LoadLE64(const uint8_t* p) noexcept {
    return static_cast<uint64_t>(LoadLE32(p)) | static_cast<uint64_t>(LoadLE32(p + 4)) << 32;
}
inline void StoreLE16(uint8_t* p, uint16_t v) noexcept {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void StoreLE32(uint8_t* p, uint32_t v) noexcept {
    StoreLE16(p, static_cast<uint16_t>(v));
    StoreLE16(p + 2, static_cast<uint16_t>(v >> 16));
}
inline void StoreLE64(uint8_t* p, uint64_t v) noexcept {
    StoreLE32(p, static_cast<uint32_t>(v));
    StoreLE32(p + 4, static_cast<uint32_t>(v >> 32));
}

// a * b + c when it fits in a uint64_t, for sizes taken from file headers.
inline bool MulAdd(uint64_t a, uint64_t b, uint64_t c, uint64_t* result) noexcept {
    uint64_t product;
    return !__builtin_mul_overflow(a, b, &product) && !__builtin_add_overflow(product, c, result);
}

} // namespace lxfile
