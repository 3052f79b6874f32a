# Still image filing: the module and its format writers, and the file layer that every filer's
# writers share (opening, writing without short writes, reading, closing, directory creation).
target_sources(lxip_objects PRIVATE
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxstillimagewriter.cpp
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxbmpwriter.cpp
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxjpegwriter.cpp
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxtiffwriter.cpp
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxpngwriter.cpp
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxrawwriter.cpp
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxcsvwriter.cpp
)
add_library(lxip_stillimage OBJECT ${CMAKE_CURRENT_LIST_DIR}/lxfile.cpp)
target_compile_options(lxip_stillimage PRIVATE -O3)
target_link_libraries(lxip_stillimage PUBLIC GCBase lxip_support)
lxip_add_family(lxip_stillimage)
# PNG files are written and read through libpng (with zlib).
find_package(PNG REQUIRED)
target_link_libraries(lxip_objects PUBLIC PNG::PNG)
target_link_libraries(LxApi_IP PRIVATE PNG::PNG)
