# The still image filer: round trips, file layouts, hostile files and failure texts through the
# exported factory; the writer table from the inside; the files read back by ImageMagick where it is
# installed.
lxip_module_test(lxapi_ip_stillimage_tests
  ${CMAKE_CURRENT_LIST_DIR}/stillimage_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/csv_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/oracle_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/tiff_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/png_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/tiffpng_oracle_test.cpp
)
# libpng and zlib make the PNG files of other kinds and decode the written ones independently.
find_package(PNG REQUIRED)
target_link_libraries(lxapi_ip_stillimage_tests PRIVATE lxip_generated PNG::PNG)
add_dependencies(lxapi_ip_stillimage_tests lxip_descriptions)
lxip_internal_test(lxapi_ip_stillimage_internal_tests ${CMAKE_CURRENT_LIST_DIR}/writertable_test.cpp)
