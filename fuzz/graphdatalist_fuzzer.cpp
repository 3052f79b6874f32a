// Fuzzes the graph data list's binary file loader: the input is written to a file of this process
// and loaded. A file the loader takes must save again and load back to the same list, and save as
// CSV; a file it refuses must leave the list as it was. Every size the file claims is checked against
// the file's length before anything is allocated, so the input's length bounds the memory used.
#include "module_support.h"

#include <lxapi/ilxgraphdata.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

using ListPtr = CLxAutoPtr<ILxGraphDataBufferListResizableReleasable, ILxGraphDataBufferListResizable>;

std::string TempName(const char* what) {
    const char* dir = std::getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/lxfuzz_graphdata_" + std::to_string(::getpid()) + what;
}

bool SameList(const ILxGraphDataBufferList& a, const ILxGraphDataBufferList& b) {
    if (a.GetCount() != b.GetCount()) return false;
    for (size_t i = 0; i < a.GetCount(); ++i) {
        const ILxGraphDataBuffer* x = a.GetILxGraphDataBuffer(int64_t(i));
        const ILxGraphDataBuffer* y = b.GetILxGraphDataBuffer(int64_t(i));
        if (x->GetSize() != y->GetSize()) return false;
        if (x->GetSize() && std::memcmp(x->GetData(), y->GetData(), x->GetSize()) != 0) return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lxfuzz::InitSdk();
    static const std::string input = TempName(".in"), again = TempName(".bin"), csv = TempName(".csv");
    if (FILE* f = std::fopen(input.c_str(), "wb")) {
        if (size) std::fwrite(data, 1, size, f);
        std::fclose(f);
    } else {
        return 0;
    }
    ListPtr list(CreateILxGraphDataBufferListResizable(nullptr));
    list->Resize(1);
    bool loaded = false;
    lxfuzz::Try([&] {
        list->Load(input.c_str());
        loaded = true;
    });
    if (!loaded) {
        if (list->GetCount() != 1) std::abort(); // a refused file changed the list
        return 0;
    }
    // Series without elements cannot be saved; the rest must come back as they were.
    bool saved = false;
    lxfuzz::Try([&] {
        list->Save(LxGraphDataFileFormat_Binary, again.c_str());
        saved = true;
    });
    if (saved) {
        ListPtr back(CreateILxGraphDataBufferListResizable(nullptr));
        back->Load(again.c_str());
        if (!SameList(*list, *back)) std::abort();
    }
    lxfuzz::Try([&] { list->Save(LxGraphDataFileFormat_CSV, csv.c_str()); });
    return 0;
}
