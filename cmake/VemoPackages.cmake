# Debian packages of what is installed, one for each component: `cpack --config BUILD/CPackConfig.cmake`. For packages
# that others use, configure with CMAKE_INSTALL_PREFIX=/usr, so that the libraries go to Debian's folder for the
# machine; scripts/package does.
if(NOT PROJECT_IS_TOP_LEVEL)
    return()
endif()
if(VEMO_PLATFORM_ROOT)
    message(STATUS "Debian packages hold the host edition of the platform; a device build makes none")
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vemofilesubscriptiondb)
set(CPACK_PACKAGE_VENDOR "Vemo developers")
set(CPACK_PACKAGE_CONTACT "Vemo developers <vemo@example.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_BINARY_DIR}/VemoPackageFiles.cmake)

set(CPACK_COMPONENTS_ALL library development)
if(TARGET filedb)
    list(APPEND CPACK_COMPONENTS_ALL filedb)
endif()
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
set(CPACK_COMPONENT_FILEDB_DEPENDS library)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)  # on the same version
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/framework ${PROJECT_BINARY_DIR}/platform)

set(vemo_about
"A persistent store of subscriptions for a device's notification framework,
kept in plain text files that people can read and edit, by way of a small
relational engine that takes a subset of SQL.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libvemofilesubscriptiondb${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "subscription store in plain text files - shared libraries
${vemo_about}
.
This package holds the library and the platform libraries of its host
edition.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvemofilesubscriptiondb-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "subscription store in plain text files - development files
${vemo_about}
.
This package holds the headers, the CMake package and the pkg-config file.")
set(CPACK_DEBIAN_FILEDB_PACKAGE_NAME filedb)
set(CPACK_DEBIAN_FILEDB_PACKAGE_SECTION database)
set(CPACK_COMPONENT_FILEDB_DESCRIPTION "look into, check and mend databases of the subscription store
${vemo_about}
.
This package holds the command filedb, which shows, queries, changes, checks
and repairs such a database, and the extension vemofiledb, with which any
program that has SQLite reads and writes its tables.")

configure_file(${CMAKE_CURRENT_LIST_DIR}/VemoPackageFiles.cmake.in ${PROJECT_BINARY_DIR}/VemoPackageFiles.cmake @ONLY)
include(CPack)
