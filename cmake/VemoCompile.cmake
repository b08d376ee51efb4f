# Compile settings that every target of the tree shares, and none of a project that this one is a part of.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2
    -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-qual)
if(VEMO_WARNINGS_AS_ERRORS)
    add_compile_options(-Werror)
endif()
# 64-bit file offsets and times also where the C library's default is 32 bits: there, asking for the status of a file
# that is dated 2038 or later fails.
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)

# The same bytes wherever the sources and the build are: their places are told as "." and "./build", in the texts of the
# log, too. A Debug build keeps the places, so that a debugger finds the sources from anywhere. The later map goes first.
add_compile_options("$<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>"
    "$<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

if(VEMO_SANITIZE)
    add_compile_options(-fsanitize=${VEMO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${VEMO_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # GCC 12 warns of uninitialised members inside <regex> as soon as a sanitizer instruments it.
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
endif()

if(VEMO_BUILD_FUZZERS)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "VEMO_BUILD_FUZZERS needs Clang, which has libFuzzer; configure with -DCMAKE_CXX_COMPILER=clang++")
    endif()
    # What is fuzzed tells the fuzzer which of its branches an input takes.
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=fuzzer-no-link)
endif()
