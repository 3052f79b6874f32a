# SN measurement through the exported filter, 64 frames a measurement, against cv::meanStdDev
# (optional); the calculation alone at each level from the family's object library.
add_executable(snmeasurement_bench snmeasurement_bench.cpp)
target_link_libraries(snmeasurement_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase lxip_snmeasurement
  benchmark::benchmark)
target_compile_options(snmeasurement_bench PRIVATE -O3)
lxapi_bench_opencv(snmeasurement_bench LXBENCH_HAVE_OPENCV)
