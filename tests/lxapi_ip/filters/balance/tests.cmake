# The balance ratio filter through the exported factory, its internals, and the filter chain.
lxip_module_test(lxapi_ip_balance_tests
  ${CMAKE_CURRENT_LIST_DIR}/balance_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/filterchain_test.cpp
)
target_link_libraries(lxapi_ip_balance_tests PRIVATE lxip_generated)
add_dependencies(lxapi_ip_balance_tests lxip_descriptions)
