# Static library `lxip_kernels`: the processor dispatch through which every kernel family picks its
# forms. Static, so that each family's object library can link it and every program that links one
# or more families gets the one dispatcher (the one switch) once. Built for the baseline processor.
add_library(lxip_kernels STATIC ${CMAKE_CURRENT_LIST_DIR}/cpudispatch.cpp)
set_target_properties(lxip_kernels PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_include_directories(lxip_kernels PUBLIC ${CMAKE_CURRENT_LIST_DIR}/..)
