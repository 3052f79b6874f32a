# Noise reduction: the module through the exported factory, and its vector rows against the portable ones.
lxip_module_test(lxapi_ip_noise_tests ${CMAKE_CURRENT_LIST_DIR}/noisereduction_test.cpp)
lxip_internal_test(lxapi_ip_noise_internal_tests ${CMAKE_CURRENT_LIST_DIR}/noisekernels_test.cpp)
