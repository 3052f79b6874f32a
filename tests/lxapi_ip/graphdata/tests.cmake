# graph data: buffers, lists, their files, and the graph data filter
lxip_internal_test(lxapi_ip_graphdata_tests
  ${CMAKE_CURRENT_LIST_DIR}/graphdatafilter_reference_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/graphdatafilter_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/graphdatalist_test.cpp
)

# The CSV file read back by an outside reader, Python's csv module.
find_package(Python3 COMPONENTS Interpreter QUIET)
if(Python3_Interpreter_FOUND)
  add_test(NAME graphdata_csv_python
           COMMAND ${CMAKE_COMMAND} -E env LXGRAPH_CSV_OUT=${CMAKE_CURRENT_BINARY_DIR}/graphdata_check.csv
                   $<TARGET_FILE:lxapi_ip_graphdata_tests> --gtest_filter=GraphDataFile.CsvForAnOutsideReader)
  set_tests_properties(graphdata_csv_python PROPERTIES FIXTURES_SETUP graphdata_csv)
  add_test(NAME graphdata_csv_python_read
           COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_LIST_DIR}/csvcheck.py
                   ${CMAKE_CURRENT_BINARY_DIR}/graphdata_check.csv)
  set_tests_properties(graphdata_csv_python_read PROPERTIES FIXTURES_REQUIRED graphdata_csv)
endif()
