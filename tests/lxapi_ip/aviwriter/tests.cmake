# Events and the worker thread, which the video filer and the SN measurement filter run on.
lxip_internal_test(lxapi_ip_events_tests
  ${CMAKE_CURRENT_LIST_DIR}/eventobject_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/worker_test.cpp
)
