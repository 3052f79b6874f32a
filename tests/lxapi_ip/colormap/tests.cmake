# Colour maps: palettes, phase and inversion against index arithmetic, the cache.
add_executable(lxip_colormap_tests ${CMAKE_CURRENT_LIST_DIR}/colormap_test.cpp)
target_link_libraries(lxip_colormap_tests PRIVATE lxip_colormap GenApi GCBase GTest::gtest_main Threads::Threads)
gtest_discover_tests(lxip_colormap_tests DISCOVERY_TIMEOUT 60)
