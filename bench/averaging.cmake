# Image averaging through the exported filter, against cv::accumulate (optional).
add_executable(averaging_bench averaging_bench.cpp)
target_link_libraries(averaging_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase benchmark::benchmark)
lxapi_bench_opencv(averaging_bench LXBENCH_HAVE_OPENCV)
