# graph data: buffers, lists, their files, and the graph data filter
# The module units join the library's objects; the counting kernel builds as the object library
# `lxip_graphdata` at -O3.
target_sources(lxip_objects PRIVATE
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxgraphdatabuffer.cpp
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxgraphdatabufferlist.cpp
  ${PROJECT_SOURCE_DIR}/lxapi_ip/lxgraphdatafilter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/graphdatafile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/graphdataformats.cpp
  ${CMAKE_CURRENT_LIST_DIR}/graphdataworker.cpp
  ${PROJECT_SOURCE_DIR}/lxsdkcommon/lxdirectory.cpp
)

add_library(lxip_graphdata OBJECT ${CMAKE_CURRENT_LIST_DIR}/graphdatakernels.cpp)
target_include_directories(lxip_graphdata PUBLIC ${CMAKE_CURRENT_LIST_DIR}/..)
target_compile_options(lxip_graphdata PRIVATE -O3)
lxip_add_family(lxip_graphdata)
