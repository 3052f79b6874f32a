// What the file reader harnesses share: the input as a file in memory (memfd) that the still image
// filer loads by its /proc name, and what is done with an image once it loaded.
#pragma once

#include "module_support.h"

#include <lxapi/ilxstillimagefiler.h>

#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace lxfuzz {

// Loads `data` as a file, with its first bytes replaced by `magic` so that the input reaches the
// reader under test. A loaded image is read whole and saved again as raw, BMP, TIFF and PNG files to
// /dev/null.
inline void LoadAsFile(const uint8_t* data, size_t size, const std::string& magic) {
    InitSdk();
    const int fd = ::memfd_create("lxfuzz", MFD_CLOEXEC);
    if (fd < 0) return;
    std::string bytes(reinterpret_cast<const char*>(data), size);
    bytes.replace(0, std::min(magic.size(), bytes.size()), magic.substr(0, std::min(magic.size(), bytes.size())));
    if (::write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        ::close(fd);
        return;
    }
    const std::string name = "/proc/self/fd/" + std::to_string(fd);
    static FilerPtr filer(CreateILxFiler(LxFilerType_StillImage));
    auto* still = dynamic_cast<ILxStillImageFiler*>(filer.Get());
    if (!still) __builtin_trap();
    BufferPtr buffer(CreateILxImageBuffer(nullptr));
    bool loaded = false;
    Try([&] {
        still->Load(buffer.Get(), name.c_str());
        loaded = true;
    });
    ::close(fd);
    if (!loaded) return;
    Touch(buffer->GetILxImage());
    Try([&] { still->Save(buffer->GetILxImage(), StillImageFileFormat_Raw, "/dev/null"); });
    Try([&] { still->Save(buffer->GetILxImage(), StillImageFileFormat_Bitmap, "/dev/null"); });
    Try([&] { still->Save(buffer->GetILxImage(), StillImageFileFormat_TIFF, "/dev/null"); });
    Try([&] { still->Save(buffer->GetILxImage(), StillImageFileFormat_PNG, "/dev/null"); });
}

} // namespace lxfuzz
