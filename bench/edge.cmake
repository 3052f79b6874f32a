# Edge enhancement on Mono8 through the exported filter and its kernel at each level, against
# cv::filter2D with a 3x3 kernel (optional).
add_executable(edge_bench ${CMAKE_CURRENT_LIST_DIR}/edge_bench.cpp)
target_link_libraries(edge_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase lxip_edge benchmark::benchmark)
target_compile_options(edge_bench PRIVATE -O3)
lxapi_bench_opencv(edge_bench LXBENCH_HAVE_OPENCV)
