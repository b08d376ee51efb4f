# Imports a device's own platform libraries from the directory VEMO_PLATFORM_ROOT as the targets vemo,
# vemoplatform and subscriptionmanager:
#
#   include/   Log.h RecursiveMutex.h Directory.h StringConversion.h SubscriptionRecord.h ISubscriptionDB.h
#   lib/       libvemo.so libvemoplatform.so libsubscriptionmanager.so
#
# Used by the build of the library, and by the installed CMake package of such a build.

set(vemo_platform_missing "")
foreach(file IN ITEMS
    include/Log.h include/RecursiveMutex.h include/Directory.h include/StringConversion.h
    include/SubscriptionRecord.h include/ISubscriptionDB.h
    lib/libvemo.so lib/libvemoplatform.so lib/libsubscriptionmanager.so)
    if(NOT EXISTS "${VEMO_PLATFORM_ROOT}/${file}")
        string(APPEND vemo_platform_missing "  ${file}\n")
    endif()
endforeach()

if(vemo_platform_missing)
    string(CONCAT vemo_platform_problem
        "The device's platform directory\n  ${VEMO_PLATFORM_ROOT}\nlacks\n${vemo_platform_missing}"
        "Put the device's headers into include/ and its libraries into lib/ there, or set VEMO_PLATFORM_ROOT to "
        "the directory that has them.")
    if(CMAKE_FIND_PACKAGE_NAME)
        set(${CMAKE_FIND_PACKAGE_NAME}_FOUND FALSE)
        set(${CMAKE_FIND_PACKAGE_NAME}_NOT_FOUND_MESSAGE "${vemo_platform_problem}")
    else()
        message(FATAL_ERROR "${vemo_platform_problem}\n"
            "An empty VEMO_PLATFORM_ROOT builds the host edition of the platform instead.")
    endif()
else()
    if(NOT CMAKE_FIND_PACKAGE_NAME)
        foreach(part IN ITEMS TESTS TOOLS BENCHMARKS)
            if(VEMO_BUILD_${part})
                message(STATUS "VEMO_BUILD_${part} is ignored: that needs the host edition of the platform")
                set(VEMO_BUILD_${part} OFF)
            endif()
        endforeach()
    endif()
    foreach(library IN ITEMS vemo vemoplatform subscriptionmanager)
        if(NOT TARGET ${library})
            add_library(${library} SHARED IMPORTED)
            # Linked by name, so that a library without a SONAME is not looked for at its place on this machine.
            set_target_properties(${library} PROPERTIES
                IMPORTED_LOCATION "${VEMO_PLATFORM_ROOT}/lib/lib${library}.so"
                IMPORTED_NO_SONAME TRUE
                INTERFACE_INCLUDE_DIRECTORIES "${VEMO_PLATFORM_ROOT}/include")
        endif()
    endforeach()
endif()
