# TIFF and PNG files of the still image filer at 2448 x 2048: TIFF RGB8 against one fwrite of the same
# bytes and against libtiff; PNG BGR8 and Mono16 against libpng driven directly with the same settings;
# both against cv::imwrite at its defaults (OpenCV imgcodecs, optional).
find_package(PNG REQUIRED)
find_package(TIFF QUIET)
add_executable(tiffpng_bench ${CMAKE_CURRENT_LIST_DIR}/tiffpng_bench.cpp)
target_link_libraries(tiffpng_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase PNG::PNG benchmark::benchmark)
if(TIFF_FOUND)
  target_compile_definitions(tiffpng_bench PRIVATE LXTIFFPNG_HAVE_LIBTIFF)
  target_link_libraries(tiffpng_bench PRIVATE TIFF::TIFF)
endif()
find_package(OpenCV QUIET COMPONENTS core imgcodecs)
if(OpenCV_FOUND)
  target_compile_definitions(tiffpng_bench PRIVATE LXTIFFPNG_HAVE_OPENCV)
  target_include_directories(tiffpng_bench PRIVATE ${OpenCV_INCLUDE_DIRS})
  target_link_libraries(tiffpng_bench PRIVATE opencv_core opencv_imgcodecs)
endif()
