# JPEG encoder on a 2448 x 2048 frame against libjpeg-turbo's TurboJPEG (default DCT and the fast DCT),
# and each primitive at each instruction-set level, so the profile shows where the time goes.
find_library(LXJPEG_BENCH_TURBOJPEG turbojpeg)
if(LXJPEG_BENCH_TURBOJPEG)
  add_executable(jpeg_bench ${CMAKE_CURRENT_LIST_DIR}/jpeg_bench.cpp)
  target_link_libraries(jpeg_bench PRIVATE lxip_jpeg ${LXJPEG_BENCH_TURBOJPEG} benchmark::benchmark)
  target_compile_options(jpeg_bench PRIVATE -O3)
endif()
