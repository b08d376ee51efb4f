# Installs the library, its public headers, the CMake package, the pkg-config file and filedb. The installed tree may be
# moved: everything in it finds its neighbours by relative paths.
#
# The components are "library" (what programs need that run), "development" (what they need to be built) and "filedb".
include(CMakePackageConfigHelpers)

set(VEMO_INSTALL_PACKAGE ${CMAKE_INSTALL_LIBDIR}/cmake/VemoFileSubscriptionDB)

# With the host edition of the platform its libraries are part of the package. A device's own libraries stay
# where they are, and the package imports them from there.
set(vemo_installed_targets vemofilesubscriptiondb)
if(NOT VEMO_PLATFORM_ROOT)
    list(APPEND vemo_installed_targets vemo vemoplatform subscriptionmanager)
endif()

set_target_properties(${vemo_installed_targets} PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS ${vemo_installed_targets}
    EXPORT VemoFileSubscriptionDBTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT library
    NAMELINK_COMPONENT development)

install(FILES ${VEMO_PUBLIC_HEADERS} DESTINATION ${VEMO_INSTALL_HEADERS} COMPONENT development)

install(EXPORT VemoFileSubscriptionDBTargets
    NAMESPACE Vemo::
    DESTINATION ${VEMO_INSTALL_PACKAGE}
    COMPONENT development)
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/VemoFileSubscriptionDBConfig.cmake.in
    ${PROJECT_BINARY_DIR}/VemoFileSubscriptionDBConfig.cmake
    INSTALL_DESTINATION ${VEMO_INSTALL_PACKAGE}
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/VemoFileSubscriptionDBConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/VemoFileSubscriptionDBConfig.cmake
    ${PROJECT_BINARY_DIR}/VemoFileSubscriptionDBConfigVersion.cmake
    DESTINATION ${VEMO_INSTALL_PACKAGE}
    COMPONENT development)
if(VEMO_PLATFORM_ROOT)
    install(FILES ${CMAKE_CURRENT_LIST_DIR}/VemoDevicePlatform.cmake
        DESTINATION ${VEMO_INSTALL_PACKAGE}
        COMPONENT development)
endif()

# The pkg-config file names the prefix relative to its own place, unless the library's place is an absolute path.
set(VEMO_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    file(RELATIVE_PATH VEMO_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(PREPEND VEMO_PC_PREFIX "\${pcfiledir}/")
endif()
cmake_path(APPEND VEMO_PC_LIBDIR "\${prefix}" "${CMAKE_INSTALL_LIBDIR}")
cmake_path(APPEND VEMO_PC_INCLUDEDIR "\${prefix}" "${VEMO_INSTALL_HEADERS}")
set(VEMO_PC_EDITION host)
if(VEMO_PLATFORM_ROOT)
    set(VEMO_PC_EDITION device)
endif()
configure_file(
    ${CMAKE_CURRENT_LIST_DIR}/vemofilesubscriptiondb-${VEMO_PC_EDITION}.pc.in
    ${PROJECT_BINARY_DIR}/vemofilesubscriptiondb.pc
    @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vemofilesubscriptiondb.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)

if(TARGET filedb)
    file(RELATIVE_PATH vemo_libraries_from_programs /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
    set_target_properties(filedb PROPERTIES INSTALL_RPATH "$ORIGIN/${vemo_libraries_from_programs}")
    install(TARGETS filedb RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT filedb)
    if(TARGET vemofiledb)
        # Where the loader looks, so that ".load vemofiledb" finds it.
        set_target_properties(vemofiledb PROPERTIES INSTALL_RPATH "$ORIGIN")
        install(TARGETS vemofiledb LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT filedb)
    endif()
    install(FILES ${PROJECT_SOURCE_DIR}/docs/filedb.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT filedb)
endif()
