# Drives the package tests from CTest (cmake -P). Two modes:
#
#   MODE=install       installs BUILD_DIR into WORK_DIR/prefix; checks the installed files (headers,
#                      sonames, run paths, no internal headers, no build or source paths); configures,
#                      builds and runs consumer/ against the prefix with find_package; compiles, links
#                      and runs consumer/main.cpp with the flags `pkg-config --cflags --libs lxapi` gives.
#   MODE=subdirectory  configures, builds and runs subproject/, which takes the tree in with
#                      add_subdirectory().
#
# Other inputs: SOURCE_DIR, BUILD_DIR, WORK_DIR, GENERATOR, C_COMPILER, CXX_COMPILER, BUILD_TYPE,
# LIBDIR (the install's library directory, relative to the prefix), VERSION_MAJOR, READELF (may be
# empty), SANITIZE (ON when the library is built with sanitizers), SANITIZE_COMPILE_FLAGS and
# SANITIZE_LINK_FLAGS (what a program needs to load sanitized libraries; space-separated).
cmake_minimum_required(VERSION 3.20)

# Runs a command; any failure fails the test with the command's output.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " line "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${line}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

set(sanitize_compile "${SANITIZE_COMPILE_FLAGS}")
set(sanitize_link "${SANITIZE_LINK_FLAGS}")
separate_arguments(SANITIZE_COMPILE_FLAGS UNIX_COMMAND "${SANITIZE_COMPILE_FLAGS}")
separate_arguments(SANITIZE_LINK_FLAGS UNIX_COMMAND "${SANITIZE_LINK_FLAGS}")
set(common_args -G ${GENERATOR} -DCMAKE_BUILD_TYPE=${BUILD_TYPE} -DCMAKE_C_COMPILER=${C_COMPILER}
                -DCMAKE_CXX_COMPILER=${CXX_COMPILER} "-DCMAKE_CXX_FLAGS=${sanitize_compile}"
                "-DCMAKE_EXE_LINKER_FLAGS=${sanitize_link}")

if(MODE STREQUAL "subdirectory")
  # The build directory is kept between runs, so that only the first one compiles the library.
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/subproject -B ${WORK_DIR}/subproject ${common_args}
      -DLXAPI_SOURCE_DIR=${SOURCE_DIR} -DLXAPI_SANITIZE=${SANITIZE})
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/subproject --target lxapi_consumer)
  run(${WORK_DIR}/subproject/lxapi_consumer)
  message(STATUS "${run_output}")
  return()
elseif(NOT MODE STREQUAL "install")
  message(FATAL_ERROR "MODE must be install or subdirectory, not '${MODE}'")
endif()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${prefix} ${WORK_DIR}/consumer)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --config ${BUILD_TYPE})

# The public headers are installed, every one of them, and nothing from includeinside/.
file(GLOB public RELATIVE ${SOURCE_DIR}/include/lxapi ${SOURCE_DIR}/include/lxapi/*.h)
file(GLOB installed RELATIVE ${prefix}/include/lxapi ${prefix}/include/lxapi/*.h)
if(NOT public STREQUAL installed)
  message(FATAL_ERROR "installed include/lxapi holds [${installed}], the tree [${public}]")
endif()
foreach(header IN ITEMS GenICam/GCException.h GenICam/GCString.h GenApi/GenApi.h)
  if(NOT EXISTS ${prefix}/include/lxapi-genicam/${header})
    message(FATAL_ERROR "${header} is not installed")
  endif()
endforeach()
file(GLOB inside RELATIVE ${SOURCE_DIR}/includeinside ${SOURCE_DIR}/includeinside/*)
file(GLOB_RECURSE all RELATIVE ${prefix} ${prefix}/*)
foreach(file IN LISTS all)
  get_filename_component(name ${file} NAME)
  if(name IN_LIST inside OR file MATCHES "includeinside")
    message(FATAL_ERROR "an internal header is installed: ${file}")
  endif()
endforeach()

# The package files name nothing from the source tree; the CMake files nothing from the build
# tree either (they locate the prefix relative to themselves, so the prefix can move).
file(GLOB cmake_files ${prefix}/${LIBDIR}/cmake/LxApi/*.cmake)
if(NOT cmake_files)
  message(FATAL_ERROR "no CMake package files in ${prefix}/${LIBDIR}/cmake/LxApi")
endif()
foreach(file IN LISTS cmake_files ITEMS ${prefix}/${LIBDIR}/pkgconfig/lxapi.pc)
  file(READ ${file} text)
  if(file MATCHES "[.]pc$")
    # The pkg-config file names its prefix (here under the build tree), and only that.
    string(REPLACE "${prefix}" "<prefix>" text "${text}")
  endif()
  string(FIND "${text}" "${SOURCE_DIR}/" at_source)
  string(FIND "${text}" "${BUILD_DIR}/" at_build)
  if(at_source GREATER -1 OR at_build GREATER -1)
    message(FATAL_ERROR "${file} names a path of the tree or of its build:\n${text}")
  endif()
endforeach()

# Versioned libraries that find each other next to themselves.
foreach(lib IN ITEMS GCBase GenApi LxApi_TL LxApi_IP)
  set(so ${prefix}/${LIBDIR}/lib${lib}.so)
  if(NOT EXISTS ${so} OR NOT EXISTS ${so}.${VERSION_MAJOR})
    message(FATAL_ERROR "lib${lib}.so or lib${lib}.so.${VERSION_MAJOR} is not installed")
  endif()
  if(READELF)
    run(${READELF} -d ${so}.${VERSION_MAJOR})
    if(NOT run_output MATCHES "Library soname: \\[lib${lib}[.]so[.]${VERSION_MAJOR}\\]")
      message(FATAL_ERROR "lib${lib} has no soname lib${lib}.so.${VERSION_MAJOR}:\n${run_output}")
    endif()
    if(NOT run_output MATCHES "Library (run|r)path: \\[\\$ORIGIN\\]")
      message(FATAL_ERROR "lib${lib} does not have the run path $ORIGIN alone:\n${run_output}")
    endif()
  endif()
endforeach()

# find_package(LxApi) from an outside project that sees only the prefix.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/consumer -B ${WORK_DIR}/consumer ${common_args}
    -DCMAKE_PREFIX_PATH=${prefix} -DLXAPI_EXPECTED_PREFIX=${prefix}
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(${WORK_DIR}/consumer/lxapi_consumer)
message(STATUS "find_package: ${run_output}")

# pkg-config: a one-file program compiled and linked with exactly the flags the .pc file gives.
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(${PKG_CONFIG} --cflags --libs lxapi)
string(STRIP "${run_output}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
foreach(flag IN LISTS pc_flags)
  if(flag MATCHES "^-[IL]" AND NOT flag MATCHES "^-[IL]${prefix}/")
    message(FATAL_ERROR "pkg-config gives ${flag}, outside ${prefix}")
  endif()
endforeach()
run(${CXX_COMPILER} -std=c++20 -Wall -Wextra -Werror ${SANITIZE_COMPILE_FLAGS}
    ${SOURCE_DIR}/tests/package/consumer/main.cpp ${pc_flags} ${SANITIZE_LINK_FLAGS}
    -Wl,-rpath,${prefix}/${LIBDIR} -o ${WORK_DIR}/pkgconfig_consumer)
run(${WORK_DIR}/pkgconfig_consumer)
message(STATUS "pkg-config: ${run_output}")
