include(${CMAKE_CURRENT_LIST_DIR}/aviwriter20.cmake)
