# Flat field correction through the exported filter against memcpy of the image and, where OpenCV is
# at hand, cv::multiply by a float gain image with the conversion back (optional); the row kernels at
# each level from the family's object library.
add_executable(flatfield_bench ${CMAKE_CURRENT_LIST_DIR}/flatfield_bench.cpp)
target_link_libraries(flatfield_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase lxip_flatfield benchmark::benchmark)
target_compile_options(flatfield_bench PRIVATE -O3)
lxapi_bench_opencv(flatfield_bench LXBENCH_HAVE_OPENCV)
