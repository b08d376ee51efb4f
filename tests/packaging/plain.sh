#!/bin/bash
# Builds and installs the library as its documentation tells, with CMake's own choices and with nothing installed that
# tests, tools and examples need.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"
unset CMAKE_BUILD_TYPE CMAKE_CXX_COMPILER_LAUNCHER CMAKE_GENERATOR CMAKE_INSTALL_PREFIX DESTDIR

copy_sources "$WORK/library"
cd "$WORK/library"

echo "== configure, build, install"
missing=()
for package in GTest CLI11 nlohmann_json PkgConfig SQLite3 benchmark; do
    missing+=("-DCMAKE_DISABLE_FIND_PACKAGE_$package=ON")
done
"$CMAKE" -B build -DCMAKE_CXX_COMPILER="$CXX" \
    -DVEMO_BUILD_TESTS=OFF -DVEMO_BUILD_TOOLS=OFF -DVEMO_BUILD_EXAMPLES=OFF "${missing[@]}"
grep -qx "CMAKE_GENERATOR:INTERNAL=Unix Makefiles" build/CMakeCache.txt || fail "CMake's own choice is not make"
grep -qx "CMAKE_BUILD_TYPE:STRING=Release" build/CMakeCache.txt || fail "the build type is not Release"
"$CMAKE" --build build --parallel 2
DESTDIR=$WORK/root "$CMAKE" --install build >/dev/null
"$CMAKE" --install build --prefix "$WORK/prefix" >/dev/null

echo "== the installed files"
check_files "$WORK/root" <(installed_files | sed 's|^|usr/local/|')
check_files "$WORK/prefix" <(installed_files)

echo "== a client of each"
for prefix in "$WORK/root/usr/local" "$WORK/prefix"; do
    LIBDIR=lib build_with_pkg_config "$prefix" "$WORK/client"
    LD_LIBRARY_PATH=$prefix/lib run_programs "$WORK/client"
done
