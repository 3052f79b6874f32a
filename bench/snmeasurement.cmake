# SN measurement through the exported filter, 64 frames a measurement, against cv::meanStdDev (optional).
add_executable(snmeasurement_bench snmeasurement_bench.cpp)
target_link_libraries(snmeasurement_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase benchmark::benchmark)
lxapi_bench_opencv(snmeasurement_bench LXBENCH_HAVE_OPENCV)
