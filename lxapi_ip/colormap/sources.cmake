# Colour maps: the pseudo-colour palettes and their cache, shared by the converter and the filers.
add_library(lxip_colormap OBJECT ${CMAKE_CURRENT_LIST_DIR}/lxcolormap.cpp ${CMAKE_CURRENT_LIST_DIR}/monotocolor.cpp)
target_compile_options(lxip_colormap PRIVATE -O3)
target_link_libraries(lxip_colormap PUBLIC GCBase GenApi lxip_support)
lxip_add_family(lxip_colormap)
# The converter's colour members: mono to colour through the map, and YCbCr both ways.
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxpixelformatconvertercolor.cpp)
