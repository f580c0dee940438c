# Installs the build into a scratch prefix, then builds the host against it twice: with
# find_package(OrvCommon) and with pkg-config; both must run.
file(REMOVE_RECURSE "${SCRATCH}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${SCRATCH}/prefix"
                RESULT_VARIABLE rc OUTPUT_QUIET ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${err}")
endif()
foreach(f lib/libOrvCommon.so lib/libOrvEngine.so include/OrvCommon/OrvCommon/ContactsTreeModel.h
          include/OrvCommon/OrvCommon/clusterjoinwidget.h include/OrvCommon/OrvEngine/clusterid.h
          lib/cmake/OrvCommon/OrvCommonConfig.cmake lib/pkgconfig/OrvCommon.pc)
    if(NOT EXISTS "${SCRATCH}/prefix/${f}")
        message(FATAL_ERROR "not installed: ${f}")
    endif()
endforeach()

# The host sees only the installed tree: no path into the source or build folders.
execute_process(COMMAND ${CMAKE_COMMAND} -S "${HOST_DIR}" -B "${SCRATCH}/host-cmake" -G Ninja
                        "-DCMAKE_PREFIX_PATH=${SCRATCH}/prefix" -DCMAKE_BUILD_TYPE=Release
                        "-DCMAKE_CXX_FLAGS=${HOST_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${HOST_FLAGS}"
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "configuring the host failed: ${out} ${err}")
endif()
file(READ "${SCRATCH}/host-cmake/CMakeCache.txt" cache)
string(FIND "${cache}" "OrvCommon_DIR:PATH=${SCRATCH}/prefix/lib/cmake/OrvCommon" found)
if(found LESS 0)
    message(FATAL_ERROR "the host did not find the installed package")
endif()
file(GLOB exported "${SCRATCH}/prefix/lib/cmake/OrvCommon/*.cmake")
foreach(f ${exported})
    file(READ "${f}" text)
    string(FIND "${text}" "${SOURCE_DIR}/plugins" into_sources)
    string(FIND "${text}" "${SOURCE_DIR}/platform" into_platform)
    if(into_sources GREATER -1 OR into_platform GREATER -1)
        message(FATAL_ERROR "${f} points into the source tree")
    endif()
endforeach()
execute_process(COMMAND ${CMAKE_COMMAND} --build "${SCRATCH}/host-cmake" RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "building the host failed: ${out} ${err}")
endif()
execute_process(COMMAND "${SCRATCH}/host-cmake/orv-host" RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out MATCHES "host ok")
    message(FATAL_ERROR "the host (CMake package) failed (${rc}): ${out} ${err}")
endif()

# pkg-config: flags for the compiler and the linker, nothing else.
set(ENV{PKG_CONFIG_PATH} "${SCRATCH}/prefix/lib/pkgconfig")
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs OrvCommon RESULT_VARIABLE rc OUTPUT_VARIABLE flags ERROR_VARIABLE err
                OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config OrvCommon failed: ${err}")
endif()
string(FIND "${flags}" "${SOURCE_DIR}/platform" into_platform)
string(FIND "${flags}" "${SOURCE_DIR}/plugins" into_sources)
if(into_platform GREATER -1 OR into_sources GREATER -1)
    message(FATAL_ERROR "pkg-config points into the source tree: ${flags}")
endif()
separate_arguments(flag_list UNIX_COMMAND "${flags}")
separate_arguments(host_flag_list UNIX_COMMAND "${HOST_FLAGS}")
execute_process(COMMAND ${CXX} ${host_flag_list} "${HOST_DIR}/host.cpp" -o "${SCRATCH}/orv-host-pc" ${flag_list}
                        "-Wl,-rpath,${SCRATCH}/prefix/lib"
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "building the host with pkg-config failed: ${out} ${err}")
endif()
execute_process(COMMAND "${SCRATCH}/orv-host-pc" RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out MATCHES "host ok")
    message(FATAL_ERROR "the host (pkg-config) failed (${rc}): ${out} ${err}")
endif()
file(REMOVE_RECURSE "${SCRATCH}")
message(STATUS "installed tree works with find_package and pkg-config")
