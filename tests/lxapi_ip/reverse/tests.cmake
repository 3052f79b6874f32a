# Reverse converter: the module through the factory (with the pixel format converter's demosaicing
# as the witness of the Bayer phase), and the movers' forms against each other.
lxip_module_test(lxapi_ip_reverse_tests
  ${CMAKE_CURRENT_LIST_DIR}/reverseconverter_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/bayerphase_test.cpp
)
target_link_libraries(lxapi_ip_reverse_tests PRIVATE lxip_generated)
add_dependencies(lxapi_ip_reverse_tests lxip_descriptions)
lxip_internal_test(lxapi_ip_reverse_internal_tests
  ${CMAKE_CURRENT_LIST_DIR}/movers_test.cpp
)
