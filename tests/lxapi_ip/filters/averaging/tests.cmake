# Image averaging: the module's series and means, and the vector accumulation against the portable one.
lxip_internal_test(lxapi_ip_averaging_tests ${CMAKE_CURRENT_LIST_DIR}/imageaveraging_test.cpp)
