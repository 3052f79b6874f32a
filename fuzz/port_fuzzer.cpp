// Fuzzes the register port of every module the factories make: IPort::Read and Write at random
// addresses with random lengths and data, then a read of every feature through the node map, a few
// writes through it, and one run of the module on a small image with whatever the port left.
#include "module_support.h"

#include <functional>

namespace {

// One module of each kind and type the factories make today.
struct ModuleKind {
    int family; // 0 filter, 1 converter, 2 filer
    int type;
};

const std::vector<ModuleKind>& Kinds() {
    static const std::vector<ModuleKind> kinds = [] {
        lxfuzz::InitSdk();
        std::vector<ModuleKind> found;
        for (int type = 0; type < 11; ++type)
            lxfuzz::Try([&] {
                lxfuzz::FilterPtr f(CreateILxFilter(static_cast<ELxFilterType_t>(type)));
                if (f.Get()) found.push_back({0, type});
            });
        for (int type = 0; type < 2; ++type)
            lxfuzz::Try([&] {
                lxfuzz::ConverterPtr c(CreateILxConverter(static_cast<ELxConverterType_t>(type)));
                if (c.Get()) found.push_back({1, type});
            });
        for (int type = 0; type < 2; ++type)
            lxfuzz::Try([&] {
                lxfuzz::FilerPtr f(CreateILxFiler(static_cast<ELxFilerType_t>(type)));
                if (f.Get()) found.push_back({2, type});
            });
        return found;
    }();
    return kinds;
}

// Addresses near the registers most of the time, anywhere in the 64-bit range now and then.
int64_t PickAddress(lxfuzz::CInput& in) {
    const uint8_t how = in.Byte();
    if (how < 0xC0) return static_cast<int64_t>(in.Range(0, 0x200));
    if (how < 0xF0) return in.Raw<int64_t>();
    return std::numeric_limits<int64_t>::max() - static_cast<int64_t>(in.Range(0, 64));
}

int64_t PickLength(lxfuzz::CInput& in) {
    const uint8_t how = in.Byte();
    if (how < 0xE0) return static_cast<int64_t>(in.Range(0, 16));
    if (how < 0xF8) return static_cast<int64_t>(in.Range(0, 4096));
    return -static_cast<int64_t>(in.Range(0, 16));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 16 * 1024) return 0;
    const std::vector<ModuleKind>& kinds = Kinds();
    if (kinds.empty()) return 0;
    lxfuzz::CInput in(data, size);
    const ModuleKind kind = kinds[in.Range(0, kinds.size() - 1)];

    lxfuzz::FilterPtr filter;
    lxfuzz::ConverterPtr converter;
    lxfuzz::FilerPtr filer;
    GenApi::IPort* port = nullptr;
    std::function<GenApi::INodeMap*()> nodeMap;
    if (kind.family == 0) {
        filter.Reset(CreateILxFilter(static_cast<ELxFilterType_t>(kind.type)));
        port = dynamic_cast<GenApi::IPort*>(filter.Get());
        nodeMap = [&] { return filter->GetINodeMap(); };
    } else if (kind.family == 1) {
        converter.Reset(CreateILxConverter(static_cast<ELxConverterType_t>(kind.type)));
        port = dynamic_cast<GenApi::IPort*>(converter.Get());
        nodeMap = [&] { return converter->GetINodeMap(); };
    } else {
        filer.Reset(CreateILxFiler(static_cast<ELxFilerType_t>(kind.type)));
        port = dynamic_cast<GenApi::IPort*>(filer.Get());
        nodeMap = [&] { return filer->GetINodeMap(); };
    }
    if (!port) __builtin_trap(); // every module is a port

    // The description is loaded before the port operations or after them, as the input says.
    const uint8_t flags = in.Byte();
    if (flags & 1) lxfuzz::Try([&] { nodeMap(); });
    const int operations = in.Byte() % 16;
    for (int k = 0; k < operations && !in.Empty(); ++k) {
        const bool write = in.Bool();
        const int64_t address = PickAddress(in);
        const int64_t length = PickLength(in);
        // Exactly the bytes asked for, so that a step past them is an overflow the sanitizer sees.
        std::vector<uint8_t> buffer(static_cast<size_t>(std::max<int64_t>(length, 0)));
        const std::string_view bytes = in.Bytes(buffer.size());
        if (!bytes.empty()) std::memcpy(buffer.data(), bytes.data(), bytes.size());
        lxfuzz::Try([&] {
            if (write) port->Write(buffer.data(), address, length);
            else port->Read(buffer.data(), address, length);
        });
    }

    if (flags & 2) {
        lxfuzz::Try([&] {
            GenApi::INodeMap* map = nodeMap();
            lxfuzz::ReadEveryNode(*map);
            lxfuzz::WriteSomeNodes(*map, in, 8);
            lxfuzz::ReadEveryNode(*map);
        });
    }

    // The module's work with what the port left in it.
    if (kind.family == 0) {
        lxfuzz::Try([&] {
            const uint32_t format = lxfuzz::PickFormat(in);
            if (!filter->GetFilterInfo()->IsSupportedPixelFormat(format)) return;
            lxfuzz::BufferPtr image = lxfuzz::MakeImage(in, format);
            lxfuzz::Touch(filter->Filter(image->GetILxImage()));
        });
    } else if (kind.family == 1) {
        lxfuzz::Try([&] {
            lxfuzz::BufferPtr source = lxfuzz::MakeImage(in, lxfuzz::PickFormat(in));
            lxfuzz::BufferPtr destination(CreateILxImageBuffer(nullptr));
            converter->Convert(source->GetILxImage(), destination.Get());
            lxfuzz::Touch(destination->GetILxImage());
        });
    }
    return 0;
}
