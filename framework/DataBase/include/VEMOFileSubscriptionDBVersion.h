#pragma once

/// @file
/// The version of the library that a program is compiled with. The three numbers below are the version's only
/// home: the build, the CMake package, the pkg-config file and the library's SONAME have theirs from here.
///
/// docs/abi.md tells what raises which number.
///
///     #if VEMO_FILESUBSCRIPTIONDB_VERSION < 10200
///     #error "This program needs the subscription store of version 1.2.0 or later"
///     #endif

/// Raised when programs have to be compiled anew; also the number after ".so." in the library's SONAME.
#define VEMO_FILESUBSCRIPTIONDB_VERSION_MAJOR 1

/// Raised when something is added; programs that were compiled before go on working.
#define VEMO_FILESUBSCRIPTIONDB_VERSION_MINOR 0

/// Raised when something is corrected.
#define VEMO_FILESUBSCRIPTIONDB_VERSION_PATCH 0

/// The version as one number that compares: 10203 is 1.2.3.
#define VEMO_FILESUBSCRIPTIONDB_VERSION                                                            \
    (VEMO_FILESUBSCRIPTIONDB_VERSION_MAJOR * 10000 + VEMO_FILESUBSCRIPTIONDB_VERSION_MINOR * 100 + \
     VEMO_FILESUBSCRIPTIONDB_VERSION_PATCH)

/// The version as a text literal, "1.2.3".
#define VEMO_FILESUBSCRIPTIONDB_VERSION_STRING                            \
    VEMO_FILESUBSCRIPTIONDB_DOTTED(VEMO_FILESUBSCRIPTIONDB_VERSION_MAJOR, \
                                   VEMO_FILESUBSCRIPTIONDB_VERSION_MINOR, \
                                   VEMO_FILESUBSCRIPTIONDB_VERSION_PATCH)

/// @cond
// Two steps: the numbers take the place of their names in the first, and become text in the second.
#define VEMO_FILESUBSCRIPTIONDB_DOTTED(major, minor, patch) \
    VEMO_FILESUBSCRIPTIONDB_QUOTED(major, minor, patch)
#define VEMO_FILESUBSCRIPTIONDB_QUOTED(major, minor, patch) #major "." #minor "." #patch
/// @endcond
