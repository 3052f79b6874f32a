# The video filer: events and the worker thread of the SDK's common folder, the module unit, and its file
# objects (the frame pool and queues, the RIFF file loop, the AVI 1.0 writers) as the object library
# `lxip_aviwriter`.
target_sources(lxip_objects PRIVATE
  ${PROJECT_SOURCE_DIR}/lxsdkcommon/eventobject.cpp
  ${PROJECT_SOURCE_DIR}/lxsdkcommon/worker.cpp
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxaviwriter.cpp
)

add_library(lxip_aviwriter OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/framequeue.cpp
  ${CMAKE_CURRENT_LIST_DIR}/avifile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/avi1layout.cpp
  ${CMAKE_CURRENT_LIST_DIR}/avifilenotcompressed.cpp
)
target_include_directories(lxip_aviwriter PUBLIC ${CMAKE_CURRENT_LIST_DIR}/.. ${PROJECT_SOURCE_DIR})
target_compile_options(lxip_aviwriter PRIVATE -O3)
target_link_libraries(lxip_aviwriter PUBLIC lxapi_inside LxApi_TL GCBase lxip_support lxip_colormap lxip_stillimage)
lxip_add_family(lxip_aviwriter)

# OpenDML (AVI 2.0) files.
include(${CMAKE_CURRENT_LIST_DIR}/sources20.cmake)
