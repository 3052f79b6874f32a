# OpenDML files: the layout walked by the test's own reader, the write path, faults, and the files
# read and decoded by ffprobe and ffmpeg where they are installed.
add_executable(lxapi_ip_aviwriter20_tests
  ${CMAKE_CURRENT_LIST_DIR}/opendml_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/opendml_oracle_test.cpp
)
target_include_directories(lxapi_ip_aviwriter20_tests PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(lxapi_ip_aviwriter20_tests PRIVATE lxip_aviwriter20 GTest::gtest_main Threads::Threads)
gtest_discover_tests(lxapi_ip_aviwriter20_tests DISCOVERY_TIMEOUT 60)

# A file past 1 GiB, played end to end: labelled slow, so that a run can leave it out (ctest -LE slow).
add_executable(lxapi_ip_aviwriter20_slow_tests ${CMAKE_CURRENT_LIST_DIR}/opendml_slow_test.cpp)
target_include_directories(lxapi_ip_aviwriter20_slow_tests PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(lxapi_ip_aviwriter20_slow_tests PRIVATE lxip_aviwriter20 GTest::gtest_main Threads::Threads)
gtest_discover_tests(lxapi_ip_aviwriter20_slow_tests DISCOVERY_TIMEOUT 60 PROPERTIES LABELS slow TIMEOUT 900)

# The video filer writing OpenDML files, through the module.
lxip_internal_test(lxapi_ip_aviwriter20_module_tests ${CMAKE_CURRENT_LIST_DIR}/aviwriter20_test.cpp)
target_link_libraries(lxapi_ip_aviwriter20_module_tests PRIVATE lxip_generated)
