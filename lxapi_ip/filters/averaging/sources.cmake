# Image averaging: the module unit, and its accumulation kernels as object library `lxip_averaging`
# (-O3). The AVX2 file alone gets -mavx2; it runs only after the processor reported AVX2.
set(LXIP_AVG_DIR ${CMAKE_CURRENT_LIST_DIR})
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lximageaveragingfilter.cpp)

add_library(lxip_averaging OBJECT ${LXIP_AVG_DIR}/accumulate.cpp)
target_include_directories(lxip_averaging PUBLIC ${LXIP_AVG_DIR})
target_link_libraries(lxip_averaging PUBLIC lxip_kernels)
target_compile_options(lxip_averaging PRIVATE -O3)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  target_sources(lxip_averaging PRIVATE ${LXIP_AVG_DIR}/accumulate_avx2.cpp)
  set_source_files_properties(${LXIP_AVG_DIR}/accumulate_avx2.cpp
    TARGET_DIRECTORY lxip_averaging PROPERTIES COMPILE_OPTIONS "-mavx2")
endif()
lxip_add_family(lxip_averaging)
