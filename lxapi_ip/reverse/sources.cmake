# Reverse converter: the module unit, and the sample movers as the object library `lxip_reverse`.
# The movers build at -O3; reverse_avx2.cpp alone gets -mavx2 and is entered only after the
# dispatcher saw AVX2.
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxreverseconverter.cpp)

add_library(lxip_reverse OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/reverse.cpp
  ${CMAKE_CURRENT_LIST_DIR}/reverse_avx2.cpp
)
target_include_directories(lxip_reverse PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_compile_options(lxip_reverse PRIVATE -O3)
target_link_libraries(lxip_reverse PUBLIC lxip_kernels lxip_support)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|amd64")
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/reverse_avx2.cpp
    TARGET_DIRECTORY lxip_reverse PROPERTIES COMPILE_OPTIONS "-mavx2")
endif()
lxip_add_family(lxip_reverse)
