# Bayer interpolation and YCbCr kernels: an object library linked into LxApi_IP. The kernels build at -O3;
# bayeravx2.cpp and toycbcravx2.cpp alone get -mavx2 and are only entered after a run-time processor check.
add_library(lxip_colorinterpolation OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/colorinterpolation.cpp
  ${CMAKE_CURRENT_LIST_DIR}/bayeredge.cpp
  ${CMAKE_CURRENT_LIST_DIR}/bayerportable.cpp
  ${CMAKE_CURRENT_LIST_DIR}/bayeravx2.cpp
  ${CMAKE_CURRENT_LIST_DIR}/toycbcr.cpp
  ${CMAKE_CURRENT_LIST_DIR}/toycbcravx2.cpp
)
set_target_properties(lxip_colorinterpolation PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_include_directories(lxip_colorinterpolation PUBLIC
  ${PROJECT_SOURCE_DIR}/include
  ${PROJECT_SOURCE_DIR}/includeinside
  ${PROJECT_SOURCE_DIR}/genicam/include
  ${CMAKE_CURRENT_LIST_DIR}
)
target_compile_options(lxip_colorinterpolation PRIVATE -O3)
target_link_libraries(lxip_colorinterpolation PUBLIC GCBase lxip_kernels lxip_support)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/bayeravx2.cpp ${CMAKE_CURRENT_LIST_DIR}/toycbcravx2.cpp
    PROPERTIES COMPILE_OPTIONS "-mavx2")
endif()
