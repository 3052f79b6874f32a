# Defective pixel detection: the module end to end against a brute-force neighbourhood written in the
# test, the list across images, every fast kernel form against the portable one, the port and texts.
lxip_internal_test(lxapi_ip_defect_tests ${CMAKE_CURRENT_LIST_DIR}/defect_test.cpp)
target_link_libraries(lxapi_ip_defect_tests PRIVATE lxip_generated)
