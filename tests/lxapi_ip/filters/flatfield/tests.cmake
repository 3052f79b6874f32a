# Flat field correction: the module end to end (through its factory, with the internal views that
# tell whether a reference and a table are held), and the row kernels of every instruction-set level.
lxip_internal_test(lxapi_ip_flatfield_tests
  ${CMAKE_CURRENT_LIST_DIR}/flatfield_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/flatfield_kernels_test.cpp
)
target_link_libraries(lxapi_ip_flatfield_tests PRIVATE lxip_generated)
