# Polarization transforms: layouts, sliding window and group kernels, angle split, Stokes and weight
# tables. The kernels build at -O3 as the object library `lxip_polarization`.
add_library(lxip_polarization OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/polarkernels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/polartables.cpp)
target_compile_options(lxip_polarization PRIVATE -O3)
target_include_directories(lxip_polarization PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(lxip_polarization PUBLIC GCBase GenApi lxip_support lxip_kernels)
lxip_add_family(lxip_polarization)
# The converter's polarization members.
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxpixelformatconverterpolar.cpp)
