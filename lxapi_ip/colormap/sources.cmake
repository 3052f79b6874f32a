# Colour maps: the pseudo-colour palettes and their cache, shared by the converter and the filers.
# The kernels build at -O3; monotocoloravx2.cpp alone gets -mavx2 and is entered only after a run-time
# processor check.
add_library(lxip_colormap OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/lxcolormap.cpp
  ${CMAKE_CURRENT_LIST_DIR}/monotocolor.cpp
  ${CMAKE_CURRENT_LIST_DIR}/monotocoloravx2.cpp)
target_compile_options(lxip_colormap PRIVATE -O3)
target_link_libraries(lxip_colormap PUBLIC GCBase GenApi lxip_support lxip_kernels)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/monotocoloravx2.cpp PROPERTIES COMPILE_OPTIONS "-mavx2")
endif()
lxip_add_family(lxip_colormap)
# The converter's colour members: mono to colour through the map, and YCbCr both ways.
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxpixelformatconvertercolor.cpp)
