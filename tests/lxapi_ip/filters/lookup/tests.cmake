# The lookup kernels: every form against an independent loop, at every period and row phase.
add_executable(lxip_lookup_tests ${CMAKE_CURRENT_LIST_DIR}/lookupkernels_test.cpp)
target_link_libraries(lxip_lookup_tests PRIVATE lxip_lookup GTest::gtest_main)
gtest_discover_tests(lxip_lookup_tests DISCOVERY_TIMEOUT 60)
