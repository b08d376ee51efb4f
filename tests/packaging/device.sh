#!/bin/bash
# Builds the library for a device: against platform libraries that are not this tree's own, and that share no more
# with them than the calls the library makes. Then installs it and runs client programs.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"

programs=(store database)  # a device's log has no sinks

echo "== the device's platform"
device=$WORK/device
mkdir -p "$device/include" "$device/lib"
cp "$here"/standin/*.h "$device/include"
# The flags are several words.
# shellcheck disable=SC2086
shared() { "$CXX" $CLIENT_FLAGS -std=c++17 -fPIC -shared -I"$device/include" "$here/standin/$2.cpp" -o "$device/lib/lib$1.so"; }
shared vemo Log
shared vemoplatform Platform
shared subscriptionmanager Subscription

options=(-DVEMO_PLATFORM_ROOT="$device" -DVEMO_BUILD_EXAMPLES=OFF -DVEMO_WARNINGS_AS_ERRORS=ON
    -DVEMO_SANITIZE="$SANITIZE" -DCMAKE_INSTALL_LIBDIR="$LIBDIR" -DCMAKE_INSTALL_INCLUDEDIR="$INCLUDEDIR")

echo "== an incomplete platform is refused by name"
mkdir "$WORK/aside"
for file in include/ISubscriptionDB.h lib/libvemo.so; do
    mv "$device/$file" "$WORK/aside/file"
    if configure "$SOURCE" "$WORK/incomplete" "${options[@]}" >"$WORK/incomplete.log" 2>&1; then
        fail "$file is missing and was not missed"
    fi
    for words in "$device" "$file" "set VEMO_PLATFORM_ROOT to"; do
        grep -qF -e "$words" "$WORK/incomplete.log" || fail "no '$words' in: $(cat "$WORK/incomplete.log")"
    done
    mv "$WORK/aside/file" "$device/$file"
done

echo "== build and install"
configure "$SOURCE" "$WORK/build" "${options[@]}"
"$CMAKE" --build "$WORK/build" --parallel 2
"$CMAKE" --install "$WORK/build" --prefix "$WORK/first" >/dev/null
mv "$WORK/first" "$WORK/moved"
prefix=$WORK/moved
find "$prefix" -name 'libvemo.*' -o -name Log.h | grep . && fail "platform files were installed"

# On a device the platform libraries are where the loader looks for them.
client=(-DCMAKE_PREFIX_PATH="$prefix")

echo "== CMake package"
configure_consumer "$WORK/package" "${client[@]}"
"$CMAKE" --build "$WORK/package"
LD_LIBRARY_PATH="$device/lib" run_programs "$WORK/package"

echo "== pkg-config"
build_with_pkg_config "$prefix" "$WORK/plain"
LD_LIBRARY_PATH="$prefix/$LIBDIR:$device/lib" run_programs "$WORK/plain"
libraries=$(PKG_CONFIG_PATH="$prefix/$LIBDIR/pkgconfig" "$PKG_CONFIG" --libs-only-l vemofilesubscriptiondb)
[[ ${libraries% } == "-lvemofilesubscriptiondb -lsubscriptionmanager" ]] ||
    fail "programs for the device are linked with more or less than they need: $libraries"

echo "== the platform has moved"
mv "$device" "$WORK/elsewhere"
if configure_consumer "$WORK/lost" "${client[@]}" >"$WORK/lost.log" 2>&1; then
    fail "the platform has moved and the package was found all the same"
fi
grep -q "set VEMO_PLATFORM_ROOT to" "$WORK/lost.log" || fail "$(cat "$WORK/lost.log")"
configure_consumer "$WORK/found" "${client[@]}" -DVEMO_PLATFORM_ROOT="$WORK/elsewhere"
"$CMAKE" --build "$WORK/found"
LD_LIBRARY_PATH="$WORK/elsewhere/lib" run_programs "$WORK/found"
build_with_pkg_config "$prefix" "$WORK/plain-found" --define-variable=platformroot="$WORK/elsewhere"
LD_LIBRARY_PATH="$prefix/$LIBDIR:$WORK/elsewhere/lib" run_programs "$WORK/plain-found"
