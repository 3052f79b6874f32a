// Series and lists: shapes and numbers, copies, the caller's allocator, and both files, with bad
// binary files refused whole.
#include "graphdatatest.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace lxtest;
namespace fs = std::filesystem;

namespace {

// A folder of its own for each test, removed at the end.
struct TempDir {
    fs::path path = fs::temp_directory_path() /
                    ("lxgraph_" + std::to_string(::getpid()) + "_" +
                     ::testing::UnitTest::GetInstance()->current_test_info()->name());
    TempDir() { fs::create_directories(path); }
    ~TempDir() { fs::remove_all(path); }
    std::string operator/(const std::string& name) const { return (path / name).string(); }
};

ILxGraphDataBufferResizable* Series(const ListPtr& list, size_t i) { return list->GetILxGraphDataBufferResizable(int64_t(i)); }

// A list of series with the given lengths, element e of series i being (i + 1) * 1000 + e.
ListPtr Filled(std::initializer_list<uint64_t> lengths) {
    ListPtr list = MakeList();
    list->Resize(lengths.size());
    size_t i = 0;
    for (uint64_t n : lengths) {
        ILxGraphDataBufferResizable* b = Series(list, i);
        b->Initialize(LxNumberDataType_uint32, n, 2);
        for (uint64_t e = 0; e < n; ++e) b->GetData()[e] = uint32_t((i + 1) * 1000 + e);
        b->SetInformationUint(LxGraphDataInformationUint_PixelComponent, 0x01080000u);
        b->SetInformationUint(LxGraphDataInformationUint_Total, uint32_t(7 * n));
        ++i;
    }
    return list;
}

std::string Read(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}
void Write(const std::string& name, const std::string& bytes) { std::ofstream(name, std::ios::binary) << bytes; }

void ExpectEqualLists(const ILxGraphDataBufferList* a, const ILxGraphDataBufferList* b) {
    ASSERT_EQ(a->GetCount(), b->GetCount());
    for (size_t i = 0; i < a->GetCount(); ++i) {
        EXPECT_EQ(Elements(a, i), Elements(b, i));
        const ILxGraphData* x = a->GetILxGraphDataBuffer(int64_t(i))->GetILxGraphData();
        const ILxGraphData* y = b->GetILxGraphDataBuffer(int64_t(i))->GetILxGraphData();
        EXPECT_EQ(x->GetGraphDataType(), y->GetGraphDataType());
        for (int k = 0; k < 5; ++k) {
            auto key = ELxGraphDataInformationUint_t(k);
            EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { std::to_string(x->GetInformationUint(key)); }),
                      TextOf<GenICam::RuntimeException>([&] { std::to_string(y->GetInformationUint(key)); }));
            uint32_t vx = 0, vy = 1;
            try {
                vx = x->GetInformationUint(key);
                vy = y->GetInformationUint(key);
                EXPECT_EQ(vx, vy) << k;
            } catch (const GenICam::GenericException&) {
            }
        }
    }
}

// Counts the calls and hands out blocks of its own, with a context.
struct CountingAllocator : ILxSpecificTypeAllocator {
    int allocations = 0, frees = 0, destroyed = 0;
    std::vector<std::unique_ptr<uint32_t[]>> blocks;
    void Allocate(void** data, uint16_t bits, uint64_t count, uint64_t* context) override {
        ++allocations;
        *data = nullptr;
        *context = 1000 + allocations;
        if (uint64_t(bits) * count < 8) return;
        blocks.emplace_back(new uint32_t[count]);
        *data = blocks.back().get();
    }
    void Free(void* data) override { frees += data != nullptr; }
    void OnUserDestroyed() override { ++destroyed; }
};

} // namespace

TEST(GraphDataBuffer, ShapesNumbersAndTheirRefusals) {
    ListPtr list = MakeList();
    list->Resize(1);
    ILxGraphDataBufferResizable* b = Series(list, 0);
    b->Initialize(LxNumberDataType_uint32, 0, 0);
    EXPECT_EQ(b->GetData(), nullptr);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { b->GetILxGraphData(); }), "There is no available graph data.");
    EXPECT_EQ(TextOf<GenICam::InvalidArgumentException>([&] { b->Initialize(ELxNumberDataType_t(16), 4, 0); }),
              "eDataType isn't  LxNumberDataType_uint32.");

    b->Initialize(LxNumberDataType_uint32, 6, 0);
    uint32_t* block = b->GetData();
    const uint32_t values[6] = {3, 9, 1, 9, 0, 2};
    std::copy(values, values + 6, block);
    const ILxGraphData* g = b->GetILxGraphData();
    // A series of no filter computes its peak: the first of the greatest.
    EXPECT_EQ(g->GetInformationUint(LxGraphDataInformationUint_PeakIndex), 1u);
    EXPECT_EQ(g->GetInformationUint(LxGraphDataInformationUint_PeakValue), 9u);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { g->GetInformationUint(LxGraphDataInformationUint_Total); }),
              "Not supported information for this data type.");
    b->SetInformationUint(LxGraphDataInformationUint_PeakValue, 5);
    b->SetInformationUint(LxGraphDataInformationUint_PeakValue, 6);
    EXPECT_EQ(g->GetInformationUint(LxGraphDataInformationUint_PeakValue), 6u);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { g->GetInformationUint(ELxGraphDataInformationUint_t(5)); }),
              "eGDIU = 5 must be smaller than Max = 5");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { b->SetInformationUint(ELxGraphDataInformationUint_t(-1), 0); }),
              "eGDIU = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { g->GetInformationFloat(ELxGraphDataInformationFloat_t(0)); }),
              "eGDIF = 0 must be smaller than Max = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { b->SetInformationFloat(ELxGraphDataInformationFloat_t(-2), 1.0); }),
              "eGDIF = -2 must be equal or greater than Min = 0");

    // The same shape keeps the block, zeroed, and clears the numbers.
    b->Initialize(LxNumberDataType_uint32, 6, 0);
    EXPECT_EQ(b->GetData(), block);
    EXPECT_EQ(Elements(list.Get(), 0), std::vector<uint32_t>(6, 0));
    EXPECT_EQ(g->GetInformationUint(LxGraphDataInformationUint_PeakValue), 0u);
    // A filter-made series answers only what it stores.
    b->Initialize(LxNumberDataType_uint32, 6, 1);
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { b->GetILxGraphData()->GetInformationUint(LxGraphDataInformationUint_PeakValue); }),
              "Not supported information for this data type.");
}

TEST(GraphDataList, CopiesSkipEmptySeriesAndTakeTheNumbers) {
    ListPtr source = Filled({4, 0, 3});
    ListPtr copy = MakeList();
    copy->CopyFrom(source.Get());
    ASSERT_EQ(copy->GetCount(), 2u);
    EXPECT_EQ(Elements(copy.Get(), 1), Elements(source.Get(), 2));
    EXPECT_EQ(Info(copy.Get(), 1, LxGraphDataInformationUint_Total), 21u);
    copy->CopyFrom(Filled({0, 0}).Get());
    EXPECT_EQ(copy->GetCount(), 0u);
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { copy->GetILxGraphDataBuffer(0); }),
              "nIndex = 0 must be smaller than Max = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { copy->GetILxGraphDataBufferResizable(-1); }),
              "nIndex = -1 must be equal or greater than Min = 0");
    EXPECT_EQ(TextOf<GenICam::OutOfRangeException>([&] { copy->IsSaveSupported(ELxGraphDataFileFormat_t(2)); }),
              "eSGDF = 2 must be smaller than Max = 2");
    EXPECT_TRUE(copy->IsSaveSupported(LxGraphDataFileFormat_CSV));
    EXPECT_FALSE(copy->IsLoadSupported(LxGraphDataFileFormat_CSV));
}

TEST(GraphDataList, TheCallersAllocatorHoldsTheElements) {
    CountingAllocator allocator;
    {
        ListPtr list = MakeList(&allocator);
        list->Resize(2);
        Series(list, 0)->Initialize(LxNumberDataType_uint32, 10, 0);
        Series(list, 0)->Initialize(LxNumberDataType_uint32, 10, 0); // same shape: no new block
        Series(list, 1)->Initialize(LxNumberDataType_uint32, 3, 0);
        EXPECT_EQ(allocator.allocations, 2);
        EXPECT_EQ(Series(list, 0)->GetData(), allocator.blocks[0].get());
        EXPECT_EQ(Series(list, 1)->GetILxGraphData()->GetContext(), 1002u);
    }
    EXPECT_EQ(allocator.frees, 2);
    EXPECT_EQ(allocator.destroyed, 2);
    // The filter's lists use it too.
    CountingAllocator filterAllocator;
    {
        FilterPtr filter(CreateILxGraphDataFilter(&filterAllocator));
        BufferPtr image = MakeImage(8, 8, LxPixelFormat_BGR8);
        filter->Filter(image->GetILxImage());
        filter->Filter(image->GetILxImage());
        filter->Filter(image->GetILxImage());
    }
    EXPECT_EQ(filterAllocator.allocations, 6); // three series in each of two lists, then reused
    EXPECT_EQ(filterAllocator.frees, 6);
}

TEST(GraphDataFile, BinarySaveThenLoadGivesTheSameList) {
    TempDir dir;
    const std::string name = dir / "a/b/list.bin"; // two folders that do not exist yet
    ListPtr list = Filled({5, 1, 300});
    list->Save(LxGraphDataFileFormat_Binary, name.c_str());
    const std::string bytes = Read(name);
    EXPECT_EQ(bytes.size(), 52 + 3 * 24 + 4 * 306 + 3 * 2 * 8);
    EXPECT_EQ(bytes.substr(0, 4), "LXRW");
    ListPtr back = MakeList();
    back->Load(name.c_str());
    ExpectEqualLists(list.Get(), back.Get());

    // An empty list: 52 bytes, header size 52, loads as an empty list.
    MakeList()->Save(LxGraphDataFileFormat_Binary, name.c_str());
    EXPECT_EQ(Read(name).size(), 52u);
    back->Load(name.c_str());
    EXPECT_EQ(back->GetCount(), 0u);

    // A series without data stops the save and leaves no file.
    ListPtr holed = Filled({2, 0});
    const std::string other = dir / "holed.bin";
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { holed->Save(LxGraphDataFileFormat_Binary, other.c_str()); }),
              "There is no available graph data.");
    EXPECT_FALSE(fs::exists(other));
    // A folder that is a file.
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { list->Save(LxGraphDataFileFormat_Binary, (name + "/x").c_str()); }),
              "File " + name + "/x is unwritable.");
}

TEST(GraphDataFile, BadBinaryFilesAreRefusedAndTheListStaysAsItWas) {
    TempDir dir;
    const std::string good = dir / "good.bin";
    Filled({4, 2}).Get()->Save(LxGraphDataFileFormat_Binary, good.c_str());
    const std::string bytes = Read(good);
    ListPtr list = Filled({3});
    const std::vector<uint32_t> before = Elements(list.Get(), 0);
    auto put32 = [](std::string s, size_t at, uint32_t v) {
        std::memcpy(&s[at], &v, 4);
        return s;
    };
    const std::pair<const char*, std::string> cases[] = {
        {"truncated header", bytes.substr(0, 30)},
        {"truncated table", bytes.substr(0, 60)},
        {"truncated payload", bytes.substr(0, bytes.size() - 1)},
        {"wrong magic", put32(bytes, 0, 0x12345678)},
        {"version word", put32(bytes, 20, 2)},
        {"header size below 52", put32(bytes, 24, 48)},
        {"table head not 12", put32(bytes, 40, 16)},
        {"row size below 24", put32(bytes, 44, 20)},
        {"billions of series", put32(bytes, 48, 0xFFFFFFFF)},
        {"billions of elements", put32(bytes, 52 + 4, 0xFFFFFFF0)},
        {"data type not 32", put32(bytes, 52, 16)},
        {"six unsigned entries", put32(bytes, 52 + 16, 6)},
        {"a float entry", put32(bytes, 52 + 20, 1)},
        {"a key out of range", put32(bytes, 52 + 2 * 24 + 16, 9)},
        {"a CSV file", "Index,Mono8\n0,1\n"},
    };
    for (const auto& [what, content] : cases) {
        SCOPED_TRACE(what);
        const std::string name = dir / "bad.bin";
        Write(name, content);
        EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { list->Load(name.c_str()); }), "File " + name + " is unreadable.");
        ASSERT_EQ(list->GetCount(), 1u);
        EXPECT_EQ(Elements(list.Get(), 0), before);
    }
    EXPECT_EQ(TextOf<GenICam::RuntimeException>([&] { list->Load((dir / "missing.bin").c_str()); }),
              "File " + (dir / "missing.bin") + " could not be opened.");
    // A longer row is read with its tail skipped.
    std::string wide = put32(bytes.substr(0, 52), 44, 28);
    for (int r = 0; r < 2; ++r) wide += bytes.substr(52 + 24 * r, 24) + std::string(4, '\0');
    wide += bytes.substr(52 + 48);
    Write(dir / "wide.bin", wide);
    list->Load((dir / "wide.bin").c_str());
    ExpectEqualLists(list.Get(), Filled({4, 2}).Get());
}

TEST(GraphDataFile, CsvLinesFollowTheLongestSeries) {
    TempDir dir;
    const std::string name = dir / "x/list.csv";
    Filled({4096, 4096}).Get()->Save(LxGraphDataFileFormat_CSV, name.c_str());
    std::ifstream in(name);
    std::string line;
    size_t lines = 0;
    while (std::getline(in, line)) ++lines;
    EXPECT_EQ(lines, 4097u);
    Filled({10, 5}).Get()->Save(LxGraphDataFileFormat_CSV, name.c_str());
    std::ifstream again(name);
    std::getline(again, line);
    EXPECT_EQ(line, "Index,Mono8,Mono8");
    for (int i = 0; i < 6; ++i) std::getline(again, line);
    EXPECT_EQ(line, "5,1005"); // from line 5 on one column
}

// Writes the list the CSV check of tests.cmake reads with Python's csv module, when it names a file.
TEST(GraphDataFile, CsvForAnOutsideReader) {
    const char* name = std::getenv("LXGRAPH_CSV_OUT");
    if (!name) GTEST_SKIP() << "run by the graph data CSV check";
    ListPtr list = Filled({10, 5, 7});
    Series(list, 1)->SetInformationUint(LxGraphDataInformationUint_PixelComponent, 0x040C0003u);
    Series(list, 2)->Initialize(LxNumberDataType_uint32, 7, 0); // no component: named by its index
    for (uint32_t e = 0; e < 7; ++e) Series(list, 2)->GetData()[e] = 4000000000u + e;
    list->Save(LxGraphDataFileFormat_CSV, name);
}
