// Blocks of several megabytes that are walked from end to end for every image (accumulators, frame
// copies): aligned to 2 MiB and offered to the kernel as huge pages, so that the first touch does not
// fault and later passes do not miss the TLB one 4 KiB page at a time.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace lxip {

inline constexpr size_t HugePage = size_t(2) << 20;

// Blocks walked in order are worth huge pages from this size on; smaller ones stay on the usual heap
// alignment. Tables read at random gain from one huge page already.
inline constexpr size_t HugeBlockThreshold = 4 * HugePage;

// Memory of `bytes`, huge-page aligned and advised from `hugeFrom` bytes on (rounded up to whole huge
// pages), else aligned to `smallAlignment`; std::free gives it back. Throws std::bad_alloc.
inline void* AllocateLargeBlock(size_t bytes, size_t smallAlignment = 64, size_t hugeFrom = HugeBlockThreshold) {
    const bool huge = bytes >= hugeFrom;
    const size_t alignment = huge ? HugePage : smallAlignment;
    if (bytes > SIZE_MAX - alignment) throw std::bad_alloc();
    // aligned_alloc takes whole multiples of the alignment only.
    const size_t rounded = (bytes + alignment - 1) / alignment * alignment;
    void* block = std::aligned_alloc(alignment, rounded ? rounded : alignment);
    if (!block) throw std::bad_alloc();
    if (huge) (void)::madvise(block, rounded, MADV_HUGEPAGE); // advice only
    return block;
}

// A std::vector allocator on AllocateLargeBlock.
template <class T>
struct HugePageAllocator {
    using value_type = T;
    HugePageAllocator() = default;
    template <class U>
    HugePageAllocator(const HugePageAllocator<U>&) noexcept {}
    T* allocate(size_t n) {
        if (n > SIZE_MAX / sizeof(T)) throw std::bad_alloc();
        return static_cast<T*>(AllocateLargeBlock(n * sizeof(T)));
    }
    void deallocate(T* p, size_t) noexcept { std::free(p); }
    template <class U>
    bool operator==(const HugePageAllocator<U>&) const noexcept { return true; }
};

} // namespace lxip
