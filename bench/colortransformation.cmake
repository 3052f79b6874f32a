# Colour transformation through the exported filter and its kernel at each level, against
# cv::transform (optional) and memcpy.
add_executable(colortransformation_bench colortransformation_bench.cpp)
target_link_libraries(colortransformation_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase lxip_colortransformation
  benchmark::benchmark)
target_compile_options(colortransformation_bench PRIVATE -O3)
lxapi_bench_opencv(colortransformation_bench LXBENCH_HAVE_OPENCV)
