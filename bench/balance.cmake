# Balance ratio through the exported filter, BGR8 and BGR12, against memcpy and a three-channel
# cv::LUT; the statistics pass of the automatic balance against cv::mean (OpenCV optional).
add_executable(balance_bench ${CMAKE_CURRENT_LIST_DIR}/balance_bench.cpp)
target_link_libraries(balance_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase lxip_balance lxip_lookup benchmark::benchmark)
target_compile_options(balance_bench PRIVATE -O3)
lxapi_bench_opencv(balance_bench LXBALANCE_HAVE_OPENCV)
