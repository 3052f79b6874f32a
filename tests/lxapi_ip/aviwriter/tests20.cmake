# OpenDML files: the layout walked by the test's own reader, the write path, faults, and the files
# read and decoded by ffprobe and ffmpeg where they are installed.
add_executable(lxapi_ip_aviwriter20_tests
  ${CMAKE_CURRENT_LIST_DIR}/opendml_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/opendml_oracle_test.cpp
)
target_include_directories(lxapi_ip_aviwriter20_tests PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(lxapi_ip_aviwriter20_tests PRIVATE lxip_aviwriter20 GTest::gtest_main Threads::Threads)
gtest_discover_tests(lxapi_ip_aviwriter20_tests DISCOVERY_TIMEOUT 60)
