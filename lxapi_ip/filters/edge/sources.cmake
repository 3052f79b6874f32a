# Edge enhancement: the module unit, and its kernels as the object library `lxip_edge`. The kernels
# build at -O3; the AVX2 and AVX-512 files alone get their flags, and their rows run only after the
# processor dispatcher reported the instruction set.
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxedgeenhancementfilter.cpp)

add_library(lxip_edge OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/edgekernels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/edgekernels_avx2.cpp
  ${CMAKE_CURRENT_LIST_DIR}/edgekernels_avx512.cpp
)
target_include_directories(lxip_edge PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_compile_options(lxip_edge PRIVATE -O3)
target_link_libraries(lxip_edge PUBLIC lxip_kernels)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/edgekernels_avx2.cpp TARGET_DIRECTORY lxip_edge
    PROPERTIES COMPILE_OPTIONS "-mavx2")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/edgekernels_avx512.cpp TARGET_DIRECTORY lxip_edge
    PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi")
endif()
lxip_add_family(lxip_edge)
