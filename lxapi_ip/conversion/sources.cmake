# depth, packing and channel kernels
# Object library `lxip_conversion`: the bit conversion table and its cache, and the pixel kernels of
# the depth, packing, channel-order and luminance conversions. The kernels build at -O3; the AVX2
# file alone gets -mavx2, and its functions run only after the processor reported AVX2.
set(LXIP_CONVERSION_DIR ${CMAKE_CURRENT_LIST_DIR})

add_library(lxip_conversion OBJECT
  ${LXIP_CONVERSION_DIR}/bitconversiontable.cpp
  ${LXIP_CONVERSION_DIR}/kernelsupport.cpp
  ${LXIP_CONVERSION_DIR}/kernels_mono.cpp
  ${LXIP_CONVERSION_DIR}/kernels_color.cpp
  ${LXIP_CONVERSION_DIR}/kernels_avx2.cpp
)
set_target_properties(lxip_conversion PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_include_directories(lxip_conversion
  PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/includeinside ${PROJECT_SOURCE_DIR}/genicam/include
         ${LXIP_CONVERSION_DIR})
target_link_libraries(lxip_conversion PUBLIC GCBase lxip_kernels lxip_support)
target_compile_options(lxip_conversion PRIVATE -O3)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${LXIP_CONVERSION_DIR}/kernels_avx2.cpp
    TARGET_DIRECTORY lxip_conversion PROPERTIES COMPILE_OPTIONS "-mavx2")
endif()
