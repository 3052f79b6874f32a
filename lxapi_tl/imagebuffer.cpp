// Image buffers and image views.
//
// A buffer is two objects: the buffer itself (ILxImageBufferReleasable and ILxImageBufferInside) and
// its image, a member, which is ILxImageInside and, so that a caller handed the image can write into
// it, also an ILxImageBuffer (through ILxImageBufferInside). They cannot be one object: the buffer
// interfaces both derive from ILxImageBuffer without virtual inheritance, so one object holding all
// of them would have two ILxImageBuffer parts and a dynamic_cast from ILxImage to ILxImageBuffer
// would fail as ambiguous. The image forwards every operation to its buffer.
//
// Memory: plane size = height * pitch, total = planes * plane size. A block is reused while the
// total fits (it never shrinks) and replaced by a larger one otherwise. An empty image (width or
// height 0) keeps the block it has; its pixel pointer is null if no block was ever needed.
// Every check and allocation happens before the present image is touched, so a failure leaves the
// buffer as it was.
#include "pixelformattable.h"

#include <GenICam/GCException.h>
#include <ilximageinside.h>
#include <lxapi/lxapi_tl.h>

#include <cstdint>
#include <cstring>
#include <new>

namespace lxtl {
namespace {

// No image is larger than 1 TiB; bigger requests are refused before any allocation is tried.
constexpr size_t kMaxImageBytes = size_t{1} << 40;
constexpr std::align_val_t kHeapAlignment{64};

struct Geometry {
    const FormatRecord* format;
    size_t width, height, pitch, lineBytes, planes, planeSize, total;
};

// Checks a request and derives its sizes; pitch 0 asks for the line length of the format.
Geometry Plan(size_t width, size_t height, uint32_t pixelFormat, size_t pitch, bool defaultPitch) {
    Geometry g{};
    g.format = &FindFormat(pixelFormat);
    g.width = width;
    g.height = height;
    g.lineBytes = LineBytes(*g.format, width);
    if (defaultPitch) pitch = g.lineBytes;
    if (pitch < g.lineBytes)
        throw INVALID_ARGUMENT_EXCEPTION("Line pitch %zu is smaller than the %zu bytes of a line of %zu pixels of %s",
                                         pitch, g.lineBytes, width, g.format->name);
    g.pitch = pitch;
    g.planes = g.format->planes;
    if (height != 0 && pitch > kMaxImageBytes / g.planes / height)
        throw OUT_OF_RANGE_EXCEPTION("An image of %zu lines of %zu bytes of %s is too large", height, pitch,
                                     g.format->name);
    g.planeSize = height * pitch;
    g.total = g.planes * g.planeSize;
    return g;
}

class CLxImageBuffer final : public ILxImageBufferReleasable, public ILxImageBufferInside {
public:
    explicit CLxImageBuffer(ILxAllocator* allocator) : m_allocator(allocator) {}
    // A view: no memory of its own, the geometry given.
    CLxImageBuffer(const Geometry& g, uint8_t* data, size_t planeSize) : m_isView(true) {
        SetGeometry(g);
        m_planeSize = planeSize;
        m_data = data;
    }
    ~CLxImageBuffer() override { FreeBlock(m_block); }
    CLxImageBuffer(const CLxImageBuffer&) = delete;
    CLxImageBuffer& operator=(const CLxImageBuffer&) = delete;

    void Release() override { delete this; }
    ILxImage* GetILxImage() override { return &m_image; }
    void CreateBuffer(size_t width, size_t height, uint32_t pixelFormat) override {
        Create(Plan(width, height, pixelFormat, 0, true), false);
    }
    void CreateBuffer(size_t width, size_t height, uint32_t pixelFormat, size_t linePitch) override {
        Create(Plan(width, height, pixelFormat, linePitch, false), true);
    }
    void CopyImage(ILxImage* source) override;

private:
    // The image of the buffer; also a buffer interface so that a writer handed the image can fill it.
    class Image final : public ILxImageInside, public ILxImageBufferInside {
    public:
        explicit Image(CLxImageBuffer& owner) : m_owner(owner) {}
        ~Image() override = default;
        size_t GetImageWidth() override { return m_owner.m_width; }
        size_t GetImageHeight() override { return m_owner.m_height; }
        size_t GetImageLinePitch() override { return m_owner.m_pitch; }
        size_t GetImagePlaneSize() override { return m_owner.m_planeSize; }
        uint32_t GetImagePixelFormat() override { return m_owner.m_pixelFormat; }
        void* GetImageBuffer() override { return m_owner.m_data; }

        void CreateBuffer(size_t width, size_t height, uint32_t pixelFormat) override {
            m_owner.CreateBuffer(width, height, pixelFormat);
        }
        void CreateBuffer(size_t width, size_t height, uint32_t pixelFormat, size_t linePitch) override {
            m_owner.CreateBuffer(width, height, pixelFormat, linePitch);
        }
        ILxImage* GetILxImage() override { return this; }
        void CopyImage(ILxImage* source) override { m_owner.CopyImage(source); }

    private:
        CLxImageBuffer& m_owner;
    };

    struct Block {
        void* context = nullptr;
        uint8_t* data = nullptr;
        size_t capacity = 0;
    };

    Block AllocateBlock(size_t size);
    void FreeBlock(Block& block) noexcept;
    void Create(const Geometry& g, bool pitchGiven);
    bool ViewMatches(const Geometry& g, bool pitchGiven) const;
    void SetGeometry(const Geometry& g) {
        m_width = g.width;
        m_height = g.height;
        m_pitch = g.pitch;
        m_planeSize = g.planeSize;
        m_pixelFormat = g.format->code;
    }

    ILxAllocator* m_allocator = nullptr;
    const bool m_isView = false;
    Block m_block;
    uint8_t* m_data = nullptr;
    size_t m_width = 0, m_height = 0, m_pitch = 0, m_planeSize = 0;
    uint32_t m_pixelFormat = LxPixelFormat_Mono8;
    Image m_image{*this};
};

CLxImageBuffer::Block CLxImageBuffer::AllocateBlock(size_t size) {
    Block b;
    try {
        if (m_allocator) {
            void* start = nullptr;
            b.context = m_allocator->Allocate(&start, size);
            if (!b.context || !start) {
                FreeBlock(b); // gives a context without a data start back
                throw BAD_ALLOC_EXCEPTION("ILxAllocator returned NULL.");
            }
            b.data = static_cast<uint8_t*>(start);
        } else {
            b.context = ::operator new(size, kHeapAlignment);
            b.data = static_cast<uint8_t*>(b.context);
        }
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    }
    b.capacity = size;
    return b;
}

// Freeing never throws: a failing allocator's Free is dropped, the block is forgotten either way.
void CLxImageBuffer::FreeBlock(Block& block) noexcept {
    if (block.context) {
        if (m_allocator) {
            try {
                m_allocator->Free(block.context);
            } catch (...) {
            }
        } else {
            ::operator delete(block.context, kHeapAlignment);
        }
    }
    block = Block{};
}

bool CLxImageBuffer::ViewMatches(const Geometry& g, bool pitchGiven) const {
    return g.width == m_width && g.height == m_height && g.format->code == m_pixelFormat &&
           (!pitchGiven || g.pitch == m_pitch);
}

void CLxImageBuffer::Create(const Geometry& g, bool pitchGiven) {
    if (m_isView) {
        if (ViewMatches(g, pitchGiven)) return;
        throw LOGICAL_ERROR_EXCEPTION("An image view owns no memory; it cannot become an image of %zu x %zu %s",
                                      g.width, g.height, g.format->name);
    }
    if (g.total > m_block.capacity) {
        Block fresh = AllocateBlock(g.total);
        FreeBlock(m_block);
        m_block = fresh;
    }
    SetGeometry(g);
    m_data = m_block.data;
}

// Bytes of the source that a copy reads, from its first pixel on, for planes `srcPlane` apart.
size_t SourceSpan(const Geometry& g, size_t srcPlane) {
    const size_t lastPlane = g.format->sampling == Sampling::S420 ? g.planeSize
                                                                  : (g.height - 1) * g.pitch + g.lineBytes;
    return (g.planes - 1) * srcPlane + lastPlane;
}

// Copies the pixels line by line (each line's bytes, not the padding: a view's last line may end
// right at its parent's memory). The 4:2:0 planar format is not line-based beyond its Y plane (its
// chroma planes lie one behind the other from the start of plane 1) and is copied as whole planes.
void CopyPixels(const Geometry& g, const uint8_t* src, size_t srcPlane, uint8_t* dst, size_t dstPitch,
                size_t dstPlane) {
    if (g.format->sampling == Sampling::S420) {
        for (size_t p = 0; p < g.planes; ++p) std::memcpy(dst + p * dstPlane, src + p * srcPlane, g.planeSize);
        return;
    }
    for (size_t p = 0; p < g.planes; ++p)
        for (size_t y = 0; y < g.height; ++y)
            std::memcpy(dst + p * dstPlane + y * dstPitch, src + p * srcPlane + y * g.pitch, g.lineBytes);
}

void CLxImageBuffer::CopyImage(ILxImage* source) {
    if (!source) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    if (source == &m_image) return;
    const Geometry g = Plan(source->GetImageWidth(), source->GetImageHeight(), source->GetImagePixelFormat(),
                            source->GetImageLinePitch(), false);
    const size_t srcPlane = source->GetImagePlaneSize();
    const auto* src = static_cast<const uint8_t*>(source->GetImageBuffer());
    const bool empty = g.total == 0 || g.lineBytes == 0;
    if (!empty) {
        if (!src) throw INVALID_ARGUMENT_EXCEPTION("ILxImage has no pixels.");
        // Planes must not overlap: a plane holds at least its lines (all of them for 4:2:0).
        const size_t needed = SourceSpan(g, 0);
        if (g.planes > 1 && (srcPlane < needed || srcPlane > kMaxImageBytes))
            throw INVALID_ARGUMENT_EXCEPTION("Plane size %zu of the ILxImage does not fit its %zu lines of %zu bytes",
                                             srcPlane, g.height, g.pitch);
    }

    if (m_isView) {
        if (!ViewMatches(g, false))
            throw LOGICAL_ERROR_EXCEPTION("An image view owns no memory; it cannot take an image of %zu x %zu %s",
                                          g.width, g.height, g.format->name);
        if (g.format->sampling == Sampling::S420 && g.pitch != m_pitch)
            throw LOGICAL_ERROR_EXCEPTION("An image view cannot take a %s image of another line pitch", g.format->name);
        if (!empty && src != m_data) CopyPixels(g, src, srcPlane, m_data, m_pitch, m_planeSize);
        return;
    }

    if (empty) {
        Create(g, true);
        return;
    }
    // A source inside our own block (a view of this buffer) must not be overwritten while it is
    // read, so it is copied into a fresh block.
    const size_t srcSpan = SourceSpan(g, srcPlane);
    const auto s = reinterpret_cast<uintptr_t>(src), d = reinterpret_cast<uintptr_t>(m_block.data);
    const bool overlaps = m_block.data && s < d + m_block.capacity && d < s + srcSpan;
    if (g.total > m_block.capacity || overlaps) {
        Block fresh = AllocateBlock(g.total);
        CopyPixels(g, src, srcPlane, fresh.data, g.pitch, g.planeSize);
        FreeBlock(m_block);
        m_block = fresh;
    } else {
        CopyPixels(g, src, srcPlane, m_block.data, g.pitch, g.planeSize);
    }
    SetGeometry(g);
    m_data = m_block.data;
}

} // namespace
} // namespace lxtl

ILxImageBufferReleasable* CreateILxImageBuffer(ILxAllocator* allocator) {
    try {
        return new lxtl::CLxImageBuffer(allocator);
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    }
}

ILxImageBufferReleasable* CreateILxImageView(ILxImage* parent, size_t x, size_t y, size_t width, size_t height) {
    using namespace lxtl;
    if (!parent) throw INVALID_ARGUMENT_EXCEPTION("ILxImage is NULL.");
    const size_t pw = parent->GetImageWidth(), ph = parent->GetImageHeight(), pitch = parent->GetImageLinePitch();
    const Geometry whole = Plan(pw, ph, parent->GetImagePixelFormat(), pitch, false);
    const FormatRecord& r = *whole.format;
    if (x > pw || width > pw - x || y > ph || height > ph - y)
        throw OUT_OF_RANGE_EXCEPTION("The rectangle x = %zu, y = %zu, %zu x %zu lies outside the image of %zu x %zu",
                                     x, y, width, height, pw, ph);

    // The view's first pixel must begin on a byte, and on a whole chroma group or 16-bit unit where
    // the format shares them between pixels.
    size_t offset;
    if (r.sampling == Sampling::S420) {
        if (x != 0 || y != 0 || width != pw || height != ph)
            throw INVALID_ARGUMENT_EXCEPTION("A view on a part of a %s image is not supported", r.name);
        offset = 0;
    } else if (r.planes > 1) {
        offset = x * (r.storageBits / 8);
    } else {
        const size_t bits = x * r.pixelBits; // cannot wrap: Plan checked the parent's width
        const size_t unit = r.sampling == Sampling::S422   ? 32
                            : r.sampling == Sampling::S411 ? 48
                            : (r.packing == LxPacking_BitPacked && r.components > 1) ? 16
                                                                                     : 8;
        if (bits % unit != 0)
            throw INVALID_ARGUMENT_EXCEPTION("A view on a %s image cannot start at x = %zu: not on a whole byte or group",
                                             r.name, x);
        offset = bits / 8;
    }

    auto* data = static_cast<uint8_t*>(parent->GetImageBuffer());
    if (!data && whole.total != 0) throw INVALID_ARGUMENT_EXCEPTION("ILxImage has no pixels.");
    // An empty view points nowhere: its corner may lie just past the parent's memory.
    data = (width != 0 && height != 0) ? data + y * pitch + offset : nullptr;
    const Geometry g = Plan(width, height, r.code, pitch, false);
    try {
        return new CLxImageBuffer(g, data, parent->GetImagePlaneSize());
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    }
}
