include(${CMAKE_CURRENT_LIST_DIR}/sources20.cmake)
