# OpenDML: uncompressed BGR8 2448 x 2048 through direct I/O and through the page cache, against dd
# oflag=direct with 2 MiB blocks.
add_executable(aviwriter20_bench ${CMAKE_CURRENT_LIST_DIR}/aviwriter20_bench.cpp)
target_include_directories(aviwriter20_bench PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(aviwriter20_bench PRIVATE lxip_aviwriter20 benchmark::benchmark)
