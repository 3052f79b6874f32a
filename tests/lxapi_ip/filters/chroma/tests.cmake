# Chroma suppression through the exported factory, against a per-pixel reference, at every kernel
# level (internal: the tests pick the instruction-set level).
lxip_internal_test(lxapi_ip_chroma_tests ${CMAKE_CURRENT_LIST_DIR}/chromasuppression_test.cpp)
