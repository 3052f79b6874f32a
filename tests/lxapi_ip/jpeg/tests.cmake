# JPEG encoder: streams decoded by libjpeg-turbo (the independent reader, in the tests only), header
# fields read back, quality and size against libjpeg-turbo's own encoder, and every fast form of the
# primitives against the portable one.
find_library(LXJPEG_TURBOJPEG turbojpeg)
if(LXJPEG_TURBOJPEG)
  lxip_internal_test(lxapi_ip_jpeg_internal_tests
    ${CMAKE_CURRENT_LIST_DIR}/encoder_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/kernels_test.cpp
  )
  target_link_libraries(lxapi_ip_jpeg_internal_tests PRIVATE ${LXJPEG_TURBOJPEG})
endif()
if(LXJPEG_TURBOJPEG)
  lxip_module_test(lxapi_ip_jpeg_tests ${CMAKE_CURRENT_LIST_DIR}/writer_test.cpp)
  target_include_directories(lxapi_ip_jpeg_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests/lxapi_ip/stillimage)
  target_link_libraries(lxapi_ip_jpeg_tests PRIVATE ${LXJPEG_TURBOJPEG})
endif()
