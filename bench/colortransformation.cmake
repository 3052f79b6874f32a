# Colour transformation through the exported filter, against cv::transform (optional) and memcpy.
add_executable(colortransformation_bench colortransformation_bench.cpp)
target_link_libraries(colortransformation_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase benchmark::benchmark)
lxapi_bench_opencv(colortransformation_bench LXBENCH_HAVE_OPENCV)
