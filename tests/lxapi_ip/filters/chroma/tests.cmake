# Chroma suppression through the exported factory, against a per-pixel reference.
lxip_module_test(lxapi_ip_chroma_tests ${CMAKE_CURRENT_LIST_DIR}/chromasuppression_test.cpp)
