# OpenDML (AVI 2.0) files: the segment and index layout, the header blocks of the codecs, and the
# direct-I/O write path with its page-cache fallback, as `lxip_aviwriter20`; the file classes of the
# video filer join the AVI 1.0 ones in `lxip_aviwriter`.
find_package(Threads REQUIRED)
add_library(lxip_aviwriter20 OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/directfile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/opendmllayout.cpp
  ${CMAKE_CURRENT_LIST_DIR}/avifile20header.cpp
)
target_compile_options(lxip_aviwriter20 PRIVATE -O3)
target_link_libraries(lxip_aviwriter20 PUBLIC Threads::Threads)
lxip_add_family(lxip_aviwriter20)
target_sources(lxip_aviwriter PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/avifile20.cpp
  ${CMAKE_CURRENT_LIST_DIR}/avifile20notcompressed.cpp
  ${CMAKE_CURRENT_LIST_DIR}/avifile20mjpeg.cpp
)
target_link_libraries(lxip_aviwriter PUBLIC lxip_aviwriter20 lxip_jpeg)
