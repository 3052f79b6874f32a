include(${CMAKE_CURRENT_LIST_DIR}/tests20.cmake)
