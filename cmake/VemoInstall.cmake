# Installs the library, its public headers, the CMake package and the pkg-config file. The installed tree may be
# moved: everything in it finds its neighbours by relative paths.
include(CMakePackageConfigHelpers)

set(VEMO_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/vemofilesubscriptiondb)
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
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

install(DIRECTORY framework/DataBase/include/
    DESTINATION ${VEMO_INSTALL_HEADERS}
    FILES_MATCHING PATTERN "*.h")
install(FILES
    framework/DataBase/FileDataBase/include/FileDatabase.h
    framework/DataBase/FileDataBase/include/FileResultTable.h
    framework/subscriptionstore/filedatabase/include/SubscriptionFileDatabase.h
    framework/subscriptionstore/filedatabase/include/VEMOFileSubscriptionDB.h
    DESTINATION ${VEMO_INSTALL_HEADERS})
if(NOT VEMO_PLATFORM_ROOT)
    install(FILES
        platform/vemo/Log.h
        platform/vemo/LogSink.h
        platform/vemoplatform/Directory.h
        platform/vemoplatform/RecursiveMutex.h
        platform/vemoplatform/StringConversion.h
        platform/subscriptionmanager/ISubscriptionDB.h
        platform/subscriptionmanager/SubscriptionRecord.h
        DESTINATION ${VEMO_INSTALL_HEADERS})
endif()

install(EXPORT VemoFileSubscriptionDBTargets
    NAMESPACE Vemo::
    DESTINATION ${VEMO_INSTALL_PACKAGE})
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
    DESTINATION ${VEMO_INSTALL_PACKAGE})
if(VEMO_PLATFORM_ROOT)
    install(FILES ${CMAKE_CURRENT_LIST_DIR}/VemoDevicePlatform.cmake DESTINATION ${VEMO_INSTALL_PACKAGE})
endif()

# The pkg-config file names the prefix relative to its own place, unless the library's place is an absolute path.
set(VEMO_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    file(RELATIVE_PATH VEMO_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(PREPEND VEMO_PC_PREFIX "\${pcfiledir}/")
endif()
cmake_path(APPEND VEMO_PC_LIBDIR "\${prefix}" "${CMAKE_INSTALL_LIBDIR}")
cmake_path(APPEND VEMO_PC_INCLUDEDIR "\${prefix}" "${VEMO_INSTALL_HEADERS}")
if(VEMO_PLATFORM_ROOT)
    set(VEMO_PC_PLATFORM_LIBDIR "${VEMO_PLATFORM_ROOT}/lib")
    set(VEMO_PC_PLATFORM_CFLAGS " -I${VEMO_PLATFORM_ROOT}/include")
else()
    set(VEMO_PC_PLATFORM_LIBDIR "\${libdir}")
    set(VEMO_PC_PLATFORM_CFLAGS "")
endif()
configure_file(
    ${CMAKE_CURRENT_LIST_DIR}/vemofilesubscriptiondb.pc.in
    ${PROJECT_BINARY_DIR}/vemofilesubscriptiondb.pc
    @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vemofilesubscriptiondb.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
