# Polarization transforms through the exported converter, every method at 8 and 12 bits, against
# memcpy of the output in the same run; the window kernels alone at each instruction-set level; the
# first use of the Stokes tables of each depth.
add_executable(polarization_bench ${CMAKE_CURRENT_LIST_DIR}/polarization_bench.cpp)
target_link_libraries(polarization_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase lxip_polarization benchmark::benchmark)
target_compile_options(polarization_bench PRIVATE -O3)
