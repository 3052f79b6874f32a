# VP8 WebM writing: the file object of WebM files, the libvpx encoder wrapper, the WebM writing context and its Matroska muxer.
# Nothing here reads outside data (files are only written), so no fuzz harness belongs to it.
# libvpx comes through pkg-config.
find_package(PkgConfig REQUIRED)
pkg_check_modules(LXIP_VPX REQUIRED IMPORTED_TARGET vpx)

add_library(lxip_vpx OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/vpxvideofile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/clxvpx.cpp
  ${CMAKE_CURRENT_LIST_DIR}/video_writer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/mkvmuxer/mkvmuxer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/mkvmuxer/mkvwriter.cpp
)
target_include_directories(lxip_vpx PUBLIC ${CMAKE_CURRENT_LIST_DIR} ${PROJECT_SOURCE_DIR}/lxapi_ip)
target_link_libraries(lxip_vpx PUBLIC PkgConfig::LXIP_VPX lxip_aviwriter lxapi_inside LxApi_TL GenApi GCBase lxip_generated)
add_dependencies(lxip_vpx lxip_descriptions)
lxip_add_family(lxip_vpx)
target_link_libraries(LxApi_IP PRIVATE PkgConfig::LXIP_VPX)
