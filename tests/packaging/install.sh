#!/bin/bash
# Installs the library, moves the installed tree, and builds and runs client programs against it: through the CMake
# package and through pkg-config.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"

"$CMAKE" --install "$BUILD" --prefix "$WORK/first" >/dev/null
mv "$WORK/first" "$WORK/moved"
prefix=$WORK/moved
if grep -rIl "$WORK/first" "$prefix"; then
    fail "the files above name the directory of the installation, so the tree cannot be moved"
fi
if grep -rIl -e "$SOURCE" -e "$BUILD" "$prefix/$LIBDIR/cmake" "$prefix/$LIBDIR/pkgconfig"; then
    fail "the files above name the directory of the sources or of the build"
fi

check_files "$prefix/$INCLUDEDIR/vemofilesubscriptiondb" "$here/headers.txt"
check_files "$BUILD/include/vemofilesubscriptiondb" "$here/headers.txt"

echo "== one version"
version_header=VEMOFileSubscriptionDBVersion.h
version_of() { sed -n "s/^#define VEMO_FILESUBSCRIPTIONDB_VERSION_$1 //p" "$prefix/$INCLUDEDIR/vemofilesubscriptiondb/$version_header"; }
major=$(version_of MAJOR)
version=$major.$(version_of MINOR).$(version_of PATCH)
[[ $version =~ ^[0-9]+\.[0-9]+\.[0-9]+$ ]] || fail "$version_header gives the version '$version'"
# What one place says of the version, and the place.
same_version() { [[ $1 == "$2" ]] || fail "$3 has '$1', and $version_header '$2'"; }
soname=$("$OBJDUMP" -p "$prefix/$LIBDIR/libvemofilesubscriptiondb.so" | awk '$1 == "SONAME" { print $2 }')
same_version "$soname" "libvemofilesubscriptiondb.so.$major" "the library's SONAME"
same_version "$(basename "$(readlink -f "$prefix/$LIBDIR/libvemofilesubscriptiondb.so")")" \
    "libvemofilesubscriptiondb.so.$version" "the library's file name"
same_version "$(PKG_CONFIG_PATH="$prefix/$LIBDIR/pkgconfig" "$PKG_CONFIG" --modversion vemofilesubscriptiondb)" \
    "$version" "the pkg-config file"
same_version "$(sed -n 's/^set(PACKAGE_VERSION "\(.*\)")$/\1/p' \
    "$prefix/$LIBDIR/cmake/VemoFileSubscriptionDB/VemoFileSubscriptionDBConfigVersion.cmake")" \
    "$version" "the CMake package"

echo "== each header by itself"
for header in "$prefix/$INCLUDEDIR"/vemofilesubscriptiondb/*.h; do
    # The flags are several words.
    # shellcheck disable=SC2086
    "$CXX" $CLIENT_FLAGS -std=c++17 -fsyntax-only -I"${header%/*}" -x c++ - <<<"#include \"${header##*/}\""
done

echo "== CMake package"
configure_consumer "$WORK/package" -DCMAKE_PREFIX_PATH="$prefix"
"$CMAKE" --build "$WORK/package"
run_programs "$WORK/package"

echo "== CMake package, a version that is not there"
if configure_consumer "$WORK/version" -DCMAKE_PREFIX_PATH="$prefix" -DVERSION=2 2>"$WORK/version.log"; then
    fail "version 2 was found"
fi
grep -q 'compatible with requested version "2"' "$WORK/version.log" || fail "$(cat "$WORK/version.log")"

echo "== CMake package, a component that is not there"
if configure_consumer "$WORK/component" -DCMAKE_PREFIX_PATH="$prefix" "-DWITH=COMPONENTS;engine" 2>"$WORK/component.log"; then
    fail "the component engine was found"
fi
# CMake breaks the message into lines.
tr -s ' \n' '  ' <"$WORK/component.log" >"$WORK/component.line"
grep -qF 'VemoFileSubscriptionDB has no component "engine", nor any other. Ask for the package without COMPONENTS and link Vemo::FileSubscriptionDB.' \
    "$WORK/component.line" || fail "$(cat "$WORK/component.log")"
configure_consumer "$WORK/optional" -DCMAKE_PREFIX_PATH="$prefix" "-DWITH=OPTIONAL_COMPONENTS;engine"

echo "== pkg-config"
build_with_pkg_config "$prefix" "$WORK/plain"
LD_LIBRARY_PATH="$prefix/$LIBDIR" run_programs "$WORK/plain"
