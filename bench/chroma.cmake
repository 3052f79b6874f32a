# Chroma suppression through the exported filter, against memcpy.
add_executable(chroma_bench chroma_bench.cpp)
target_link_libraries(chroma_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase benchmark::benchmark)
