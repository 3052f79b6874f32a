# Events and the worker thread, which the video filer and the SN measurement filter run on.
lxip_internal_test(lxapi_ip_events_tests
  ${CMAKE_CURRENT_LIST_DIR}/eventobject_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/worker_test.cpp
)

# The video filer: AVI 1.0 files read back by a reader of the tests' own, faults and load, and the
# external players (ffprobe and ffmpeg, skipped when missing).
lxip_internal_test(lxapi_ip_aviwriter_tests
  ${CMAKE_CURRENT_LIST_DIR}/aviwriter_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/aviwriter_faults_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/aviwriter_oracle_test.cpp
)

# OpenDML (AVI 2.0) files.
include(${CMAKE_CURRENT_LIST_DIR}/tests20.cmake)
