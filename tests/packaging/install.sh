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

soname=$("$OBJDUMP" -p "$prefix/$LIBDIR/libvemofilesubscriptiondb.so" | awk '$1 == "SONAME" { print $2 }')
[[ $soname == libvemofilesubscriptiondb.so.1 ]] || fail "the library's SONAME is '$soname'"

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
