# Colour maps and YCbCr kernels against OpenCV (cvtColor, applyColorMap) and libyuv, each optional.
add_executable(colormap_bench colormap_bench.cpp)
target_link_libraries(colormap_bench PRIVATE lxip_colorinterpolation lxip_colormap lxip_kernels GenApi GCBase
                      benchmark::benchmark)
target_include_directories(colormap_bench PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip)
target_compile_options(colormap_bench PRIVATE -O3)
lxapi_bench_opencv(colormap_bench LXBENCH_HAVE_OPENCV)
find_library(LXBENCH_LIBYUV yuv)
find_path(LXBENCH_LIBYUV_INCLUDE libyuv/convert.h)
if(LXBENCH_LIBYUV AND LXBENCH_LIBYUV_INCLUDE)
  target_compile_definitions(colormap_bench PRIVATE LXBENCH_HAVE_LIBYUV)
  target_include_directories(colormap_bench PRIVATE ${LXBENCH_LIBYUV_INCLUDE})
  target_link_libraries(colormap_bench PRIVATE ${LXBENCH_LIBYUV})
endif()
