# SN measurement: the module unit, and its format table and statistics as object library
# `lxip_snmeasurement` (-O3). The AVX2 and AVX-512 files alone get their flags; each runs only after the
# processor reported its instruction set.
set(LXIP_SN_DIR ${CMAKE_CURRENT_LIST_DIR})
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxsnmeasurementfilter.cpp)

add_library(lxip_snmeasurement OBJECT ${LXIP_SN_DIR}/snformats.cpp ${LXIP_SN_DIR}/snstatistics.cpp)
target_include_directories(lxip_snmeasurement PUBLIC ${LXIP_SN_DIR})
target_link_libraries(lxip_snmeasurement PUBLIC lxip_kernels lxapi_inside)
target_compile_options(lxip_snmeasurement PRIVATE -O3)
# The square roots of the statistics are left to run as vectors: errno is never read after them, and
# the results are the same correctly rounded roots.
set_source_files_properties(${LXIP_SN_DIR}/snstatistics.cpp TARGET_DIRECTORY lxip_snmeasurement
  PROPERTIES COMPILE_OPTIONS "-fno-math-errno")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  target_sources(lxip_snmeasurement PRIVATE ${LXIP_SN_DIR}/snstatistics_avx2.cpp ${LXIP_SN_DIR}/snstatistics_avx512.cpp)
  set_source_files_properties(${LXIP_SN_DIR}/snstatistics_avx2.cpp
    TARGET_DIRECTORY lxip_snmeasurement PROPERTIES COMPILE_OPTIONS "-mavx2")
  set_source_files_properties(${LXIP_SN_DIR}/snstatistics_avx512.cpp
    TARGET_DIRECTORY lxip_snmeasurement PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi")
endif()
lxip_add_family(lxip_snmeasurement)
