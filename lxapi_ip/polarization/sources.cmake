# Polarization transforms: layouts, sliding window and group kernels, angle split, Stokes and weight
# tables. The kernels build at -O3 as the object library `lxip_polarization`; the AVX2 and AVX-512
# line kernels alone get their flags, and run only after the processor dispatcher reported the
# instruction set.
add_library(lxip_polarization OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/polarkernels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/polarrows_avx2.cpp
  ${CMAKE_CURRENT_LIST_DIR}/polarrows_avx512.cpp
  ${CMAKE_CURRENT_LIST_DIR}/polartables.cpp)
target_compile_options(lxip_polarization PRIVATE -O3)
target_include_directories(lxip_polarization PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(lxip_polarization PUBLIC GCBase GenApi lxip_support lxip_kernels)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/polarrows_avx2.cpp TARGET_DIRECTORY lxip_polarization
    PROPERTIES COMPILE_OPTIONS "-mavx2")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/polarrows_avx512.cpp TARGET_DIRECTORY lxip_polarization
    PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi")
endif()
lxip_add_family(lxip_polarization)
# The converter's polarization members.
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxpixelformatconverterpolar.cpp)
