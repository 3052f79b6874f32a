# Colour maps: palettes, phase and inversion against index arithmetic, the cache.
add_executable(lxip_colormap_tests ${CMAKE_CURRENT_LIST_DIR}/colormap_test.cpp)
target_link_libraries(lxip_colormap_tests PRIVATE lxip_colormap GenApi GCBase GTest::gtest_main Threads::Threads)
gtest_discover_tests(lxip_colormap_tests DISCOVERY_TIMEOUT 60)
# Mono to colour through the converter, with the colour map builder as the reference of the maps.
lxip_internal_test(lxapi_ip_monotocolor_tests ${CMAKE_CURRENT_LIST_DIR}/monotocolor_test.cpp)
target_include_directories(lxapi_ip_monotocolor_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests/lxapi_ip/converter)
target_link_libraries(lxapi_ip_monotocolor_tests PRIVATE lxip_generated)
# YCbCr and YUV through the converter against a double-precision reference, and the vector rows.
lxip_internal_test(lxapi_ip_ycbcr_tests ${CMAKE_CURRENT_LIST_DIR}/ycbcr_test.cpp)
target_include_directories(lxapi_ip_ycbcr_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests/lxapi_ip/converter)
