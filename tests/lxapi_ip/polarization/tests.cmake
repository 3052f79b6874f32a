# Polarization transforms through the converter against a double-precision reference, the kernels on
# views, and the tables against their formulas over the whole domain.
lxip_internal_test(lxapi_ip_polarization_tests ${CMAKE_CURRENT_LIST_DIR}/polarization_test.cpp)
target_include_directories(lxapi_ip_polarization_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests/lxapi_ip/converter)
target_link_libraries(lxapi_ip_polarization_tests PRIVATE lxip_generated)
