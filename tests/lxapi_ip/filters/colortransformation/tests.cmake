# Colour transformation: the module against a per-pixel reference, and the vector kernel against the
# portable one (internal: the tests pick the instruction-set level and look at the table cache).
lxip_internal_test(lxapi_ip_colortransformation_tests ${CMAKE_CURRENT_LIST_DIR}/colortransformation_test.cpp)
