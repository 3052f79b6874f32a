# Object library `lxip_lookup`: the lookup-table pixel kernels shared by the gamma and balance ratio
# filters. Built at -O3; the AVX-512 file alone gets its instruction-set flags, and its functions run
# only after the processor reported AVX-512 VBMI.
set(LXIP_LOOKUP_DIR ${CMAKE_CURRENT_LIST_DIR})

add_library(lxip_lookup OBJECT
  ${LXIP_LOOKUP_DIR}/lookupportable.cpp
  ${LXIP_LOOKUP_DIR}/lookupavx512.cpp
)
target_include_directories(lxip_lookup PUBLIC ${LXIP_LOOKUP_DIR} ${CMAKE_CURRENT_LIST_DIR}/../..)
target_link_libraries(lxip_lookup PUBLIC lxip_kernels)
target_compile_options(lxip_lookup PRIVATE -O3)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${LXIP_LOOKUP_DIR}/lookupavx512.cpp
    TARGET_DIRECTORY lxip_lookup PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi")
endif()
lxip_add_family(lxip_lookup)
