# Chroma suppression: the module unit, and its pixel kernels as object library `lxip_chroma` (-O3).
# The AVX2 and AVX-512 files alone get their flags; their forms run only after the processor
# dispatcher reported the instruction set.
set(LXIP_CHROMA_DIR ${CMAKE_CURRENT_LIST_DIR})
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxchromasuppressionfilter.cpp)

add_library(lxip_chroma OBJECT ${LXIP_CHROMA_DIR}/chromakernels.cpp)
target_include_directories(lxip_chroma PUBLIC ${LXIP_CHROMA_DIR})
target_link_libraries(lxip_chroma PUBLIC lxip_kernels)
target_compile_options(lxip_chroma PRIVATE -O3)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  target_sources(lxip_chroma PRIVATE ${LXIP_CHROMA_DIR}/chromakernels_avx2.cpp ${LXIP_CHROMA_DIR}/chromakernels_avx512.cpp)
  set_source_files_properties(${LXIP_CHROMA_DIR}/chromakernels_avx2.cpp
    TARGET_DIRECTORY lxip_chroma PROPERTIES COMPILE_OPTIONS "-mavx2")
  set_source_files_properties(${LXIP_CHROMA_DIR}/chromakernels_avx512.cpp
    TARGET_DIRECTORY lxip_chroma PROPERTIES COMPILE_OPTIONS "-mavx2;-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi")
endif()
lxip_add_family(lxip_chroma)
