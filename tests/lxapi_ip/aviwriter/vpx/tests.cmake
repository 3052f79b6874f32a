# VP8 WebM writing: the video filer's WebM files, the muxer read back by libwebm's parser, and the encoder wrapper with its files
# checked by the parser, ffprobe, ffmpeg and mkvinfo, and against libvpx alone.
find_library(LXIP_WEBM_PARSER webm REQUIRED)
lxip_internal_test(lxapi_ip_vpx_tests
  ${CMAKE_CURRENT_LIST_DIR}/mkvmuxer_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/clxvpx_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/vpxvideofile_test.cpp
)
target_link_libraries(lxapi_ip_vpx_tests PRIVATE ${LXIP_WEBM_PARSER})
