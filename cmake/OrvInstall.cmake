# Installing the libraries as hosts link Qt's: shared libraries, their public headers (one folder
# per library under include/OrvCommon/), a CMake package "OrvCommon" with imported targets
# Orv::<Name>, and a pkg-config file per library.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ORV_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/OrvCommon)
set(ORV_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# orv_install_library(<target> EXPORT_NAME <Name> DESCRIPTION <text> REQUIRES <pkg-config modules...>)
# Call once the target has all its sources. Include folders given as source paths become build-only
# ones; the installed headers are found in include/OrvCommon/<target>.
function(orv_install_library target)
    cmake_parse_arguments(A "" "EXPORT_NAME;DESCRIPTION" "REQUIRES" ${ARGN})
    set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/OrvCommon/${target})

    get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
    set(wrapped)
    foreach(d IN LISTS dirs)
        if(d MATCHES "^\\$<")
            list(APPEND wrapped "${d}")
        else()
            list(APPEND wrapped "$<BUILD_INTERFACE:${d}>")
        endif()
    endforeach()
    list(APPEND wrapped "$<INSTALL_INTERFACE:${header_dir}>")
    set_property(TARGET ${target} PROPERTY INTERFACE_INCLUDE_DIRECTORIES "${wrapped}")
    # Installed libraries find one another next to themselves.
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${A_EXPORT_NAME} INSTALL_RPATH "$ORIGIN")

    get_target_property(source_dir ${target} SOURCE_DIR)
    get_target_property(sources ${target} SOURCES)
    set(headers)
    foreach(s IN LISTS sources)
        if(s MATCHES "\\.h$")
            if(NOT IS_ABSOLUTE "${s}")
                set(s "${source_dir}/${s}")
            endif()
            list(APPEND headers "${s}")
        endif()
    endforeach()
    install(TARGETS ${target} EXPORT OrvCommonTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES ${headers} DESTINATION ${header_dir})

    # pkg-config: paths relative to the .pc file, so the tree may be installed under any prefix.
    file(RELATIVE_PATH pc_to_prefix "/root/${ORV_INSTALL_PKGCONFIGDIR}" "/root")
    set(PC_PREFIX "\${pcfiledir}/${pc_to_prefix}")
    set(PC_TARGET ${target})
    set(PC_DESCRIPTION "${A_DESCRIPTION}")
    string(REPLACE ";" " " PC_REQUIRES "${A_REQUIRES}")
    configure_file(${PROJECT_SOURCE_DIR}/cmake/orvlibrary.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${target}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${target}.pc DESTINATION ${ORV_INSTALL_PKGCONFIGDIR})
endfunction()

function(orv_install_package)
    install(EXPORT OrvCommonTargets NAMESPACE Orv:: DESTINATION ${ORV_INSTALL_CMAKEDIR})
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/OrvCommonConfig.cmake.in
        ${PROJECT_BINARY_DIR}/OrvCommonConfig.cmake INSTALL_DESTINATION ${ORV_INSTALL_CMAKEDIR})
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/OrvCommonConfigVersion.cmake
        VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/OrvCommonConfig.cmake ${PROJECT_BINARY_DIR}/OrvCommonConfigVersion.cmake
        DESTINATION ${ORV_INSTALL_CMAKEDIR})
    # An example translation table for the string IDs.
    install(FILES ${PROJECT_SOURCE_DIR}/demo/lang/en.json DESTINATION ${CMAKE_INSTALL_DATADIR}/OrvCommon/lang)
endfunction()
