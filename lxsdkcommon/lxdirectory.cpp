#include "lxdirectory.h"

#include <filesystem>
#include <system_error>

void CreateDirectoryOfPath(const std::string& path) noexcept {
    try {
        std::string folder = path;
        const size_t cut = folder.find_last_of("\\/");
        if (cut != std::string::npos && cut != 0) folder.resize(cut);
        if (folder.empty()) return;
        std::error_code ignored;
        std::filesystem::create_directories(folder, ignored);
    } catch (...) {
    }
}
