# The shared lookup kernels at each instruction-set level, against memcpy and cv::LUT (optional).
add_executable(lookup_bench ${CMAKE_CURRENT_LIST_DIR}/lookup_bench.cpp)
target_link_libraries(lookup_bench PRIVATE lxip_lookup benchmark::benchmark)
target_compile_options(lookup_bench PRIVATE -O3)
lxapi_bench_opencv(lookup_bench LXLOOKUP_HAVE_OPENCV)
