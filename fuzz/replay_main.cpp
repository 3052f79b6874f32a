// Replays kept fuzz inputs through a harness without libFuzzer: every file named on the command line,
// and every file in a directory named there, goes to LLVMFuzzerTestOneInput once. The normal test run
// uses it on the seed corpus and on every input that once found a fault.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool Replay(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        return false;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::printf("%s (%zu bytes)\n", file.c_str(), bytes.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    size_t replayed = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path(argv[i]);
        if (std::filesystem::is_directory(path)) {
            std::vector<std::filesystem::path> files;
            for (const auto& entry : std::filesystem::directory_iterator(path))
                if (entry.is_regular_file()) files.push_back(entry.path());
            std::sort(files.begin(), files.end());
            for (const auto& file : files) {
                ok = Replay(file) && ok;
                ++replayed;
            }
        } else if (std::filesystem::exists(path)) {
            ok = Replay(path) && ok;
            ++replayed;
        }
    }
    std::printf("%zu inputs replayed\n", replayed);
    return ok && replayed > 0 ? 0 : 1;
}
