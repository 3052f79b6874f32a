# graph data: buffers, lists, their files, and the graph data filter
lxip_internal_test(lxapi_ip_graphdata_tests
  ${CMAKE_CURRENT_LIST_DIR}/graphdatafilter_reference_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/graphdatafilter_test.cpp
)
