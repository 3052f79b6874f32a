# The balance ratio filter: its module unit joins the library's own units; the channel tables, the
# statistics pass and the white balance arithmetic build as the object library `lxip_balance`.
target_sources(lxip_objects PRIVATE ${PROJECT_SOURCE_DIR}/lxapi_ip/lxbalanceratiofilter.cpp)

set(LXIP_BALANCE_DIR ${CMAKE_CURRENT_LIST_DIR})
add_library(lxip_balance OBJECT
  ${LXIP_BALANCE_DIR}/balancechannel.cpp
  ${LXIP_BALANCE_DIR}/balancestatistics.cpp
  ${LXIP_BALANCE_DIR}/whitebalance.cpp
)
target_include_directories(lxip_balance PUBLIC ${LXIP_BALANCE_DIR})
target_link_libraries(lxip_balance PUBLIC lxip_lookup lxip_support)
target_compile_options(lxip_balance PRIVATE -O3)
lxip_add_family(lxip_balance)
