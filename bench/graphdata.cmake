# Graph data filter: histograms and column and row sums through the exported filter, against
# cv::calcHist and cv::reduce (optional).
add_executable(graphdata_bench ${CMAKE_CURRENT_LIST_DIR}/graphdata_bench.cpp)
target_link_libraries(graphdata_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase benchmark::benchmark)
target_compile_options(graphdata_bench PRIVATE -O3)
lxapi_bench_opencv(graphdata_bench LXBENCH_HAVE_OPENCV)
