// Image buffers and views: geometry, reuse of memory, the allocator hook, copies, failure safety.
#include <ilximageinside.h>
#include <lxapi/clxautoptr.h>
#include <lxapi/lxapi_tl.h>
#include <lxapi/lxpixelformat.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

namespace {

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;
constexpr size_t kHuge = std::numeric_limits<size_t>::max();

// Counts calls; pixels start 8 bytes behind the block's head. Can fail in each possible way.
struct CountingAllocator : ILxAllocator {
    enum Mode { Normal, NullContext, NullStart, Throw } mode = Normal;
    int allocations = 0, frees = 0;
    size_t lastSize = 0;
    void* Allocate(void** dataStart, size_t size) override {
        ++allocations;
        lastSize = size;
        if (mode == NullContext) return nullptr;
        if (mode == Throw) throw std::bad_alloc();
        auto* block = static_cast<uint8_t*>(std::malloc(size + 8));
        *dataStart = mode == NullStart ? nullptr : block + 8;
        return block;
    }
    void Free(void* context) override {
        ++frees;
        std::free(context);
    }
};

struct Snapshot {
    size_t w, h, pitch, plane;
    uint32_t format;
    void* data;
    bool operator==(const Snapshot&) const = default;
};
Snapshot Take(ILxImageBuffer& b) {
    ILxImage* i = b.GetILxImage();
    return {i->GetImageWidth(), i->GetImageHeight(), i->GetImageLinePitch(), i->GetImagePlaneSize(),
            i->GetImagePixelFormat(), i->GetImageBuffer()};
}
uint8_t* Pixels(ILxImage* i) { return static_cast<uint8_t*>(i->GetImageBuffer()); }
uint8_t* Pixels(BufferPtr& b) { return Pixels(b->GetILxImage()); }
void Fill(BufferPtr& b, size_t bytes) {
    for (size_t k = 0; k < bytes; ++k) Pixels(b)[k] = static_cast<uint8_t>(1 + k * 7);
}
ILxImageBufferInside& Inside(BufferPtr& b) { return dynamic_cast<ILxImageBufferInside&>(*b); }

TEST(ImageBuffer, GeometryAndTheImageAsABuffer) {
    BufferPtr buffer(CreateILxImageBuffer());
    buffer->CreateBuffer(3, 2, LxPixelFormat_Mono12p);
    EXPECT_EQ(Take(*buffer), (Snapshot{3, 2, 5, 10, LxPixelFormat_Mono12p, Pixels(buffer)}));
    ILxImage* image = buffer->GetILxImage();
    EXPECT_NE(dynamic_cast<ILxImageInside*>(image), nullptr);

    // A writer handed only the image reaches the buffer through it.
    auto* asBuffer = dynamic_cast<ILxImageBufferInside*>(image);
    ASSERT_NE(asBuffer, nullptr);
    asBuffer->CreateBuffer(5, 4, LxPixelFormat_RGB16_Planar, 12);
    EXPECT_EQ(buffer->GetILxImage(), image);
    EXPECT_EQ(Take(*buffer), (Snapshot{5, 4, 12, 48, LxPixelFormat_RGB16_Planar, Pixels(buffer)}));
    asBuffer->CreateBuffer(0, 3, LxPixelFormat_BGR8);
    EXPECT_EQ(Take(*buffer).pitch, 0u);
}

TEST(ImageBuffer, ReusesMemoryThatFitsAndGrowsOtherwise) {
    CountingAllocator allocator;
    {
        BufferPtr buffer(CreateILxImageBuffer(&allocator));
        buffer->CreateBuffer(7, 0, LxPixelFormat_BGR8); // empty: no memory needed
        EXPECT_EQ(Take(*buffer), (Snapshot{7, 0, 21, 0, LxPixelFormat_BGR8, nullptr}));
        EXPECT_EQ(allocator.allocations, 0);

        buffer->CreateBuffer(100, 100, LxPixelFormat_Mono8);
        EXPECT_EQ(allocator.lastSize, 10000u);
        void* first = Pixels(buffer);
        buffer->CreateBuffer(50, 50, LxPixelFormat_Mono16);
        buffer->CreateBuffer(0, 0, LxPixelFormat_Mono8);
        buffer->CreateBuffer(100, 100, LxPixelFormat_Mono8); // no shrink happened on the way
        EXPECT_EQ(allocator.allocations, 1);
        EXPECT_EQ(Pixels(buffer), first);

        Inside(buffer).CreateBuffer(10, 100, LxPixelFormat_Mono8, 101);
        EXPECT_EQ(allocator.allocations, 2);
        EXPECT_EQ(allocator.lastSize, 10100u);
        EXPECT_EQ(allocator.frees, 1);
    }
    EXPECT_EQ(allocator.frees, 2);
}

TEST(ImageBuffer, RefusedRequestsLeaveTheImageIntact) {
    CountingAllocator allocator;
    BufferPtr buffer(CreateILxImageBuffer(&allocator));
    buffer->CreateBuffer(10, 3, LxPixelFormat_Mono8);
    Fill(buffer, 30);
    const Snapshot before = Take(*buffer);

    EXPECT_THROW(Inside(buffer).CreateBuffer(10, 3, LxPixelFormat_Mono8, 9), GenICam::InvalidArgumentException);
    EXPECT_THROW(Inside(buffer).CreateBuffer(3, 2, LxPixelFormat_Mono12p, 4), GenICam::InvalidArgumentException);
    EXPECT_THROW(buffer->CreateBuffer(10, 3, 0x12345678u), GenICam::InvalidArgumentException);
    EXPECT_THROW(buffer->CreateBuffer(kHuge / 2, 2, LxPixelFormat_Mono8), GenICam::OutOfRangeException);
    // 2^64 bytes would wrap to 0; 4 TiB is refused as absurd.
    EXPECT_THROW(buffer->CreateBuffer(size_t{1} << 32, size_t{1} << 32, LxPixelFormat_Mono8),
                 GenICam::OutOfRangeException);
    EXPECT_THROW(buffer->CreateBuffer(size_t{1} << 20, size_t{1} << 21, LxPixelFormat_Mono16),
                 GenICam::OutOfRangeException);
    EXPECT_THROW(Inside(buffer).CreateBuffer(1, 1 << 20, LxPixelFormat_RGB16_Planar, kHuge / 2),
                 GenICam::OutOfRangeException);
    EXPECT_EQ(allocator.allocations, 1) << "nothing refused reached the allocator";

    allocator.mode = CountingAllocator::NullContext;
    try {
        buffer->CreateBuffer(100, 100, LxPixelFormat_Mono8);
        ADD_FAILURE();
    } catch (const GenICam::BadAllocException& e) {
        EXPECT_STREQ(e.GetDescription(), "ILxAllocator returned NULL.");
    }
    allocator.mode = CountingAllocator::NullStart;
    EXPECT_THROW(buffer->CreateBuffer(100, 100, LxPixelFormat_Mono8), GenICam::BadAllocException);
    EXPECT_EQ(allocator.frees, 1) << "a context without a data start goes back to Free";
    allocator.mode = CountingAllocator::Throw;
    BufferPtr big(CreateILxImageBuffer());
    big->CreateBuffer(100, 100, LxPixelFormat_Mono8);
    try {
        buffer->CopyImage(big->GetILxImage());
        ADD_FAILURE();
    } catch (const GenICam::BadAllocException& e) {
        EXPECT_STREQ(e.GetDescription(), std::bad_alloc().what());
    }

    EXPECT_EQ(Take(*buffer), before);
    for (size_t k = 0; k < 30; ++k) ASSERT_EQ(Pixels(buffer)[k], static_cast<uint8_t>(1 + k * 7));
}

TEST(ImageBuffer, CopyImageTakesGeometryAndPlanes) {
    BufferPtr source(CreateILxImageBuffer());
    Inside(source).CreateBuffer(3, 2, LxPixelFormat_RGB8_Planar, 5);
    Fill(source, 30);
    BufferPtr copy(CreateILxImageBuffer());
    copy->CopyImage(source->GetILxImage());
    EXPECT_EQ(Take(*copy), (Snapshot{3, 2, 5, 10, LxPixelFormat_RGB8_Planar, Pixels(copy)}));
    for (size_t plane = 0; plane < 3; ++plane)
        for (size_t y = 0; y < 2; ++y)
            EXPECT_EQ(std::memcmp(Pixels(copy) + plane * 10 + y * 5, Pixels(source) + plane * 10 + y * 5, 3), 0);

    try {
        copy->CopyImage(nullptr);
        ADD_FAILURE();
    } catch (const GenICam::InvalidArgumentException& e) {
        EXPECT_STREQ(e.GetDescription(), "ILxImage is NULL.");
    }
}

// An image of the caller's own making, with whatever it claims.
struct FakeImage : ILxImageInside {
    size_t w = 4, h = 2, pitch = 4, plane = 8;
    uint32_t format = LxPixelFormat_RGB8_Planar;
    void* data = nullptr;
    size_t GetImageWidth() override { return w; }
    size_t GetImageHeight() override { return h; }
    size_t GetImageLinePitch() override { return pitch; }
    size_t GetImagePlaneSize() override { return plane; }
    uint32_t GetImagePixelFormat() override { return format; }
    void* GetImageBuffer() override { return data; }
};

TEST(ImageBuffer, CopyImageRefusesInconsistentSources) {
    BufferPtr buffer(CreateILxImageBuffer());
    FakeImage fake;
    EXPECT_THROW(buffer->CopyImage(&fake), GenICam::InvalidArgumentException); // no pixels
    std::vector<uint8_t> memory(24);
    fake.data = memory.data();
    fake.plane = 5; // planes would overlap
    EXPECT_THROW(buffer->CopyImage(&fake), GenICam::InvalidArgumentException);
    fake.plane = 8;
    buffer->CopyImage(&fake);
    EXPECT_EQ(Take(*buffer).plane, 8u);
}

TEST(ImageView, AddressesTheParentsPixelsOnWholeBytes) {
    BufferPtr parent(CreateILxImageBuffer());
    Inside(parent).CreateBuffer(8, 6, LxPixelFormat_Mono8, 10);
    BufferPtr view(CreateILxImageView(parent->GetILxImage(), 2, 1, 4, 3));
    EXPECT_EQ(Take(*view), (Snapshot{4, 3, 10, 60, LxPixelFormat_Mono8, Pixels(parent) + 10 + 2}));
    BufferPtr inner(CreateILxImageView(view->GetILxImage(), 1, 2, 3, 1)); // a view of a view
    EXPECT_EQ(Pixels(inner), Pixels(parent) + 3 * 10 + 3);

    EXPECT_THROW(CreateILxImageView(nullptr, 0, 0, 1, 1), GenICam::InvalidArgumentException);
    for (auto [x, y, w, h] : {std::array<size_t, 4>{2, 0, 7, 1}, {0, 5, 1, 2}, {kHuge, 0, 2, 1}, {0, 2, 1, kHuge}})
        EXPECT_THROW(CreateILxImageView(parent->GetILxImage(), x, y, w, h), GenICam::OutOfRangeException);

    // The first pixel must start a byte, a 16-bit unit of a colour bit stream, or a chroma group.
    const std::pair<uint32_t, size_t> refused[] = {
        {LxPixelFormat_Mono12p, 1}, {LxPixelFormat_Mono10p, 2},     {LxPixelFormat_Mono12Packed, 1},
        {LxPixelFormat_BGR10p, 4},  {LxPixelFormat_YCbCr422_8, 1},  {LxPixelFormat_YCbCr411_8, 2},
        {LxPixelFormat_CYCbCr420_8_YY_Cb_Cr_Planar, 2},
    };
    for (const auto& [format, x] : refused) {
        parent->CreateBuffer(16, 4, format);
        EXPECT_THROW(CreateILxImageView(parent->GetILxImage(), x, 0, 2, 1), GenICam::InvalidArgumentException)
            << std::hex << format;
    }
    const std::array<size_t, 3> accepted[] = {// format, x, byte offset in the line
                                              {LxPixelFormat_Mono12p, 2, 3},
                                              {LxPixelFormat_BGR10p, 8, 30},
                                              {LxPixelFormat_RGB16_Planar, 3, 6}};
    for (const auto& [format, x, offset] : accepted) {
        parent->CreateBuffer(16, 4, static_cast<uint32_t>(format));
        BufferPtr v(CreateILxImageView(parent->GetILxImage(), x, 1, 2, 2));
        EXPECT_EQ(Pixels(v), Pixels(parent) + Take(*parent).pitch + offset);
        EXPECT_EQ(Take(*v).plane, Take(*parent).plane) << "planes stay addressable";
    }
}

TEST(ImageView, OwnsNoMemoryButTakesMatchingPixels) {
    BufferPtr parent(CreateILxImageBuffer());
    parent->CreateBuffer(6, 4, LxPixelFormat_Mono8);
    std::memset(Pixels(parent), 0, 24);
    BufferPtr view(CreateILxImageView(parent->GetILxImage(), 3, 2, 3, 2));

    auto* viewAsBuffer = dynamic_cast<ILxImageBuffer*>(view->GetILxImage());
    ASSERT_NE(viewAsBuffer, nullptr);
    viewAsBuffer->CreateBuffer(3, 2, LxPixelFormat_Mono8); // the same request: nothing to do
    EXPECT_THROW(viewAsBuffer->CreateBuffer(3, 3, LxPixelFormat_Mono8), GenICam::LogicalErrorException);
    EXPECT_THROW(Inside(view).CreateBuffer(3, 2, LxPixelFormat_Mono8, 3), GenICam::LogicalErrorException);

    BufferPtr patch(CreateILxImageBuffer()); // pasted into the lower right quadrant
    patch->CreateBuffer(3, 2, LxPixelFormat_Mono8);
    for (size_t k = 0; k < 6; ++k) Pixels(patch)[k] = static_cast<uint8_t>(k + 1);
    view->CopyImage(patch->GetILxImage());
    const uint8_t expected[24] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 0, 0, 0, 4, 5, 6};
    EXPECT_EQ(std::memcmp(Pixels(parent), expected, 24), 0);
    patch->CreateBuffer(2, 2, LxPixelFormat_Mono8);
    EXPECT_THROW(view->CopyImage(patch->GetILxImage()), GenICam::LogicalErrorException);
}

TEST(ImageView, CopyOfAViewTakesOnlyItsLines) {
    // A view on the last columns: reading a whole pitch per line would run past the parent.
    BufferPtr parent(CreateILxImageBuffer());
    parent->CreateBuffer(7, 3, LxPixelFormat_BGR8);
    Fill(parent, 63);
    BufferPtr view(CreateILxImageView(parent->GetILxImage(), 5, 1, 2, 2));
    BufferPtr copy(CreateILxImageBuffer());
    copy->CopyImage(view->GetILxImage());
    EXPECT_EQ(Take(*copy).pitch, 21u);
    for (size_t y = 0; y < 2; ++y)
        EXPECT_EQ(std::memcmp(Pixels(copy) + y * 21, Pixels(parent) + (y + 1) * 21 + 15, 6), 0);

    // The parent copying a view of itself: the source lies in the memory being replaced, and
    // line 0 of the view overlaps line 0 of the result.
    BufferPtr shifted(CreateILxImageView(parent->GetILxImage(), 1, 0, 6, 3));
    std::vector<uint8_t> expected(3 * 18);
    for (size_t y = 0; y < 3; ++y) std::memcpy(&expected[y * 18], Pixels(parent) + y * 21 + 3, 18);
    parent->CopyImage(shifted->GetILxImage());
    EXPECT_EQ(Take(*parent).w, 6u);
    for (size_t y = 0; y < 3; ++y) EXPECT_EQ(std::memcmp(Pixels(parent) + y * 21, &expected[y * 18], 18), 0);
}

} // namespace
