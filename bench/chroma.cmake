# Chroma suppression through the exported filter and its kernel at each level, against memcpy.
add_executable(chroma_bench chroma_bench.cpp)
target_link_libraries(chroma_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase lxip_chroma benchmark::benchmark)
target_compile_options(chroma_bench PRIVATE -O3)
