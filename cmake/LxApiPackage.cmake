# The four shared libraries as a package: versioned file names, the LxApi:: names inside a build that
# includes this tree, and (with LXAPI_INSTALL) the install rules:
#
#   <prefix>/include/lxapi/                    public headers
#   <prefix>/include/lxapi-genicam/            the GenICam stand-in headers (GenICam/, GenApi/)
#   <prefix>/<libdir>/libLxApi_IP.so.1 ...      the libraries, run path $ORIGIN
#   <prefix>/<bindir>/lxip                      the command-line tool
#   <prefix>/<libdir>/cmake/LxApi/             find_package(LxApi): LxApi::LxApi_IP and its dependencies
#   <prefix>/<libdir>/pkgconfig/lxapi.pc       pkg-config --cflags --libs lxapi
#
# includeinside/ and the build's own compile and link options (warnings, sanitizers) are never part of
# what a consumer sees.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(LXAPI_LIBRARIES GCBase GenApi LxApi_TL LxApi_IP)

# The libraries load each other from the directory they are installed in; the build tree keeps its own
# absolute run path (CMAKE_BUILD_RPATH).
set_target_properties(${LXAPI_LIBRARIES} PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  INSTALL_RPATH "$ORIGIN")
foreach(lib IN LISTS LXAPI_LIBRARIES)
  add_library(LxApi::${lib} ALIAS ${lib})
endforeach()

if(NOT LXAPI_INSTALL)
  return()
endif()

set(LXAPI_INSTALL_GENICAM_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/lxapi-genicam)
set(LXAPI_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/LxApi)

# INCLUDES DESTINATION gives the installed targets their include directories; in the build tree they
# come from $<BUILD_INTERFACE:...> in each library's own CMakeLists.txt.
install(TARGETS GCBase GenApi EXPORT LxApiTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT LxApi_Runtime NAMELINK_COMPONENT LxApi_Development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT LxApi_Runtime
  INCLUDES DESTINATION ${LXAPI_INSTALL_GENICAM_INCLUDEDIR})
install(TARGETS LxApi_TL LxApi_IP EXPORT LxApiTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT LxApi_Runtime NAMELINK_COMPONENT LxApi_Development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT LxApi_Runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The lxip tool beside them, finding the libraries one directory up.
if(TARGET lxip)
  file(RELATIVE_PATH lxip_bin_to_lib ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
  set_target_properties(lxip PROPERTIES INSTALL_RPATH "$ORIGIN/${lxip_bin_to_lib}")
  install(TARGETS lxip RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT LxApi_Runtime)
endif()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/lxapi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT LxApi_Development FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/genicam/include/GenICam ${PROJECT_SOURCE_DIR}/genicam/include/GenApi
  DESTINATION ${LXAPI_INSTALL_GENICAM_INCLUDEDIR} COMPONENT LxApi_Development FILES_MATCHING PATTERN "*.h")

install(EXPORT LxApiTargets NAMESPACE LxApi:: DESTINATION ${LXAPI_INSTALL_CMAKEDIR}
  COMPONENT LxApi_Development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/LxApiConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/LxApiConfig.cmake INSTALL_DESTINATION ${LXAPI_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/LxApiConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/LxApiConfig.cmake ${PROJECT_BINARY_DIR}/package/LxApiConfigVersion.cmake
  DESTINATION ${LXAPI_INSTALL_CMAKEDIR} COMPONENT LxApi_Development)

# pkg-config. `cmake --install --prefix` may choose another prefix than the configured one, so the
# prefix line is written when installing: the configured file keeps a placeholder for it.
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(LXAPI_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(LXAPI_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
set(LXAPI_PC_PREFIX "@LXAPI_PC_INSTALL_PREFIX@")
configure_file(${CMAKE_CURRENT_LIST_DIR}/lxapi.pc.in ${PROJECT_BINARY_DIR}/package/lxapi.pc.in @ONLY)
install(CODE "set(LXAPI_PC_INSTALL_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
configure_file(\"${PROJECT_BINARY_DIR}/package/lxapi.pc.in\" \"${PROJECT_BINARY_DIR}/package/lxapi.pc\" @ONLY)"
  COMPONENT LxApi_Development)
install(FILES ${PROJECT_BINARY_DIR}/package/lxapi.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT LxApi_Development)
