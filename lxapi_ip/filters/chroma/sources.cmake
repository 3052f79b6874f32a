# Chroma suppression: the module unit, and its pixel kernels as object library `lxip_chroma` (-O3).
set(LXIP_CHROMA_DIR ${CMAKE_CURRENT_LIST_DIR})
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxchromasuppressionfilter.cpp)

add_library(lxip_chroma OBJECT ${LXIP_CHROMA_DIR}/chromakernels.cpp)
target_include_directories(lxip_chroma PUBLIC ${LXIP_CHROMA_DIR})
target_compile_options(lxip_chroma PRIVATE -O3)
lxip_add_family(lxip_chroma)
