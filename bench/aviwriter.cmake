# Video filer: BayerRG8 frames through AddImage into a Motion JPEG AVI (demosaicing on the caller's
# thread, JPEG on the worker) against the JPEG encoder alone on the demosaiced frames; uncompressed BGR8
# frames into an AVI against one write() loop of the same bytes into the same folder.
add_executable(aviwriter_bench ${CMAKE_CURRENT_LIST_DIR}/aviwriter_bench.cpp $<TARGET_OBJECTS:lxip_jpeg>)
target_include_directories(aviwriter_bench PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/jpeg ${PROJECT_SOURCE_DIR}/lxapi_ip)
target_link_libraries(aviwriter_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase lxip_kernels lxip_support benchmark::benchmark)
target_compile_options(aviwriter_bench PRIVATE -O3)
include(${CMAKE_CURRENT_LIST_DIR}/aviwriter20.cmake)
