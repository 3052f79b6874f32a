# Flips and quarter turns through the exported reverse converter, against cv::flip and cv::rotate
# (optional).
add_executable(reverse_bench ${CMAKE_CURRENT_LIST_DIR}/reverse_bench.cpp)
target_link_libraries(reverse_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase benchmark::benchmark)
lxapi_bench_opencv(reverse_bench LXBENCH_HAVE_OPENCV)
