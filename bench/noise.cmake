# Noise reduction (Simple) on Mono8 through the exported filter and its rank kernel at each level,
# against cv::medianBlur with a 3x3 aperture (optional).
add_executable(noise_bench ${CMAKE_CURRENT_LIST_DIR}/noise_bench.cpp)
target_link_libraries(noise_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase lxip_noise benchmark::benchmark)
target_compile_options(noise_bench PRIVATE -O3)
lxapi_bench_opencv(noise_bench LXBENCH_HAVE_OPENCV)
