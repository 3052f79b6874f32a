# Defective pixel detection: the module unit, and its kernels as an object library. The kernels build at
# -O3; the AVX2 and AVX-512 files alone get their flags and are only entered after a run-time
# processor check.
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxdefectivepixeldetectionfilter.cpp)

add_library(lxip_defect OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/defectkernels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/defectkernels_avx2.cpp
  ${CMAKE_CURRENT_LIST_DIR}/defectkernels_avx512.cpp
)
target_include_directories(lxip_defect PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_compile_options(lxip_defect PRIVATE -O3)
target_link_libraries(lxip_defect PUBLIC lxip_kernels lxip_support)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/defectkernels_avx2.cpp
    TARGET_DIRECTORY lxip_defect PROPERTIES COMPILE_OPTIONS "-mavx2")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/defectkernels_avx512.cpp
    TARGET_DIRECTORY lxip_defect PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi")
endif()
lxip_add_family(lxip_defect)
