# Defective pixel detection through the exported filter at three neighbourhood sizes, against
# cv::integral of the same image (optional peer).
add_executable(defect_bench ${CMAKE_CURRENT_LIST_DIR}/defect_bench.cpp)
target_link_libraries(defect_bench PRIVATE LxApi_IP LxApi_TL GenApi GCBase benchmark::benchmark)
lxapi_bench_opencv(defect_bench LXBENCH_HAVE_OPENCV)
