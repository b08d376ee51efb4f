# The headers that clients see. They are installed into one folder, and one folder of the build has links to them, so
# that a project which has this one as a part sees the same headers as a client of the installed library.

set(VEMO_PUBLIC_HEADERS
    ${PROJECT_SOURCE_DIR}/framework/DataBase/include/DatabaseClient.h
    ${PROJECT_SOURCE_DIR}/framework/DataBase/include/DatabaseException.h
    ${PROJECT_SOURCE_DIR}/framework/DataBase/include/DatabaseExport.h
    ${PROJECT_SOURCE_DIR}/framework/DataBase/include/IDatabase.h
    ${PROJECT_SOURCE_DIR}/framework/DataBase/include/IResultTable.h
    ${PROJECT_SOURCE_DIR}/framework/DataBase/include/VEMOFileSubscriptionDBVersion.h
    ${PROJECT_SOURCE_DIR}/framework/DataBase/FileDataBase/include/FileDatabase.h
    ${PROJECT_SOURCE_DIR}/framework/DataBase/FileDataBase/include/FileResultTable.h
    ${PROJECT_SOURCE_DIR}/framework/subscriptionstore/filedatabase/include/SubscriptionFileDatabase.h
    ${PROJECT_SOURCE_DIR}/framework/subscriptionstore/filedatabase/include/VEMOFileSubscriptionDB.h)
if(NOT VEMO_PLATFORM_ROOT)
    list(APPEND VEMO_PUBLIC_HEADERS
        ${PROJECT_SOURCE_DIR}/platform/vemo/Log.h
        ${PROJECT_SOURCE_DIR}/platform/vemo/LogExport.h
        ${PROJECT_SOURCE_DIR}/platform/vemo/LogSink.h
        ${PROJECT_SOURCE_DIR}/platform/vemoplatform/Directory.h
        ${PROJECT_SOURCE_DIR}/platform/vemoplatform/PlatformExport.h
        ${PROJECT_SOURCE_DIR}/platform/vemoplatform/RecursiveMutex.h
        ${PROJECT_SOURCE_DIR}/platform/vemoplatform/StringConversion.h
        ${PROJECT_SOURCE_DIR}/platform/subscriptionmanager/ISubscriptionDB.h
        ${PROJECT_SOURCE_DIR}/platform/subscriptionmanager/SubscriptionExport.h
        ${PROJECT_SOURCE_DIR}/platform/subscriptionmanager/SubscriptionRecord.h)
endif()

set(VEMO_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/vemofilesubscriptiondb)
set(VEMO_BUILD_HEADERS ${PROJECT_BINARY_DIR}/include/vemofilesubscriptiondb)

# Links rather than copies: a compiler that meets a header by both its names knows it as one file.
file(REMOVE_RECURSE ${VEMO_BUILD_HEADERS})
file(MAKE_DIRECTORY ${VEMO_BUILD_HEADERS})
foreach(header IN LISTS VEMO_PUBLIC_HEADERS)
    cmake_path(GET header FILENAME name)
    file(CREATE_LINK ${header} ${VEMO_BUILD_HEADERS}/${name} SYMBOLIC)
endforeach()

# vemo_public_headers(TARGET): what links TARGET finds the headers
function(vemo_public_headers target)
    target_include_directories(${target} INTERFACE
        $<BUILD_INTERFACE:${VEMO_BUILD_HEADERS}>
        $<INSTALL_INTERFACE:${VEMO_INSTALL_HEADERS}>)
endfunction()
