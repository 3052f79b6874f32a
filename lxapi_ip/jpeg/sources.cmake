# JPEG encoder: the still writer's unit, and the encoder with its stream layer, tables and pixel
# primitives as the object library `lxip_jpeg`. The primitives build at -O3; the AVX2 and AVX-512 files
# alone get their instruction-set flags and are entered only after the dispatcher saw those sets.
add_library(lxip_jpeg OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/jpegencoder.cpp
  ${CMAKE_CURRENT_LIST_DIR}/jpegstream.cpp
  ${CMAKE_CURRENT_LIST_DIR}/jpegtables.cpp
  ${CMAKE_CURRENT_LIST_DIR}/jpegkernels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/jpegkernels_avx2.cpp
  ${CMAKE_CURRENT_LIST_DIR}/jpegkernels_avx512.cpp
)
target_include_directories(lxip_jpeg PUBLIC ${CMAKE_CURRENT_LIST_DIR} ${PROJECT_SOURCE_DIR}/include)
target_compile_options(lxip_jpeg PRIVATE -O3)
target_link_libraries(lxip_jpeg PUBLIC lxip_kernels lxip_support)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/jpegkernels_avx2.cpp
    TARGET_DIRECTORY lxip_jpeg PROPERTIES COMPILE_OPTIONS "-mavx2")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/jpegkernels_avx512.cpp
    TARGET_DIRECTORY lxip_jpeg PROPERTIES COMPILE_OPTIONS "-mavx2;-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi")
endif()
lxip_add_family(lxip_jpeg)
