# Edge enhancement: the module through the exported factory, and its vector rows against the portable ones.
lxip_module_test(lxapi_ip_edge_tests ${CMAKE_CURRENT_LIST_DIR}/edgeenhancement_test.cpp)
lxip_internal_test(lxapi_ip_edge_internal_tests ${CMAKE_CURRENT_LIST_DIR}/edgekernels_test.cpp)
