# Noise reduction: the module unit, and its kernels as the object library `lxip_noise`. The kernels
# build at -O3; the AVX2 and AVX-512 files compile the same rank rows with their own flags alone, and
# run only after the processor dispatcher reported the instruction set.
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxnoisereductionfilter.cpp)

add_library(lxip_noise OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/noisekernels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/noisekernels_avx2.cpp
  ${CMAKE_CURRENT_LIST_DIR}/noisekernels_avx512.cpp
)
target_include_directories(lxip_noise PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_compile_options(lxip_noise PRIVATE -O3)
target_link_libraries(lxip_noise PUBLIC lxip_kernels)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/noisekernels_avx2.cpp TARGET_DIRECTORY lxip_noise
    PROPERTIES COMPILE_OPTIONS "-mavx2")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/noisekernels_avx512.cpp TARGET_DIRECTORY lxip_noise
    PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512bw;-mavx512vl")
endif()
lxip_add_family(lxip_noise)
