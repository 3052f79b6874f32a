# VP8 WebM writing: conversion, encoding and muxing of frames against libvpx encoding the same
# frames with the same configuration alone.
add_executable(vpx_bench ${CMAKE_CURRENT_LIST_DIR}/vpx_bench.cpp)
get_property(lxip_bench_families GLOBAL PROPERTY LXIP_FAMILIES)
target_link_libraries(vpx_bench PRIVATE lxip_objects lxip_conversion lxip_colorinterpolation lxip_kernels
                      ${lxip_bench_families} LxApi_TL GenApi GCBase benchmark::benchmark)
