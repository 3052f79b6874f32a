# Interface library `lxip_support`: headers shared by the modules and the kernel families (the
# reference-counted table and its cache, the colour filter rules, the inside view of a format). The
# inside view calls LxApi_TL: what uses it links LxApi_TL.
add_library(lxip_support INTERFACE)
target_include_directories(lxip_support INTERFACE
  ${CMAKE_CURRENT_LIST_DIR}/..
  ${PROJECT_SOURCE_DIR}
  ${PROJECT_SOURCE_DIR}/include
  ${PROJECT_SOURCE_DIR}/includeinside)
target_link_libraries(lxip_support INTERFACE GCBase)
