# Still image filer: Save as BMP, raw and CSV at 2448 x 2048 against one fwrite of the same bytes, and
# BMP against cv::imwrite (OpenCV imgcodecs, optional).
add_executable(stillimage_bench ${CMAKE_CURRENT_LIST_DIR}/stillimage_bench.cpp)
target_link_libraries(stillimage_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase benchmark::benchmark)
find_package(OpenCV QUIET COMPONENTS core imgcodecs)
if(OpenCV_FOUND)
  target_compile_definitions(stillimage_bench PRIVATE LXSTILL_HAVE_OPENCV)
  target_include_directories(stillimage_bench PRIVATE ${OpenCV_INCLUDE_DIRS})
  target_link_libraries(stillimage_bench PRIVATE opencv_core opencv_imgcodecs)
endif()
