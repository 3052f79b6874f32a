# SN measurement: the statistics against the definitions at every kernel level, the component layouts,
# and the filter through its factory with its worker thread.
lxip_internal_test(lxapi_ip_snstatistics_tests ${CMAKE_CURRENT_LIST_DIR}/snstatistics_test.cpp)
lxip_module_test(lxapi_ip_snmeasurement_tests ${CMAKE_CURRENT_LIST_DIR}/snmeasurement_test.cpp)
target_link_libraries(lxapi_ip_snmeasurement_tests PRIVATE lxip_generated)
add_dependencies(lxapi_ip_snmeasurement_tests lxip_descriptions)
