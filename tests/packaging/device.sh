#!/bin/bash
# Builds the library for a device: against platform libraries that are not this tree's own, and that share no more
# with them than the calls the library makes. Then installs it and runs client programs.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"

echo "== the device's platform"
device=$WORK/device
mkdir -p "$device/include" "$device/lib"
cp "$here"/standin/*.h "$device/include"
# The flags are several words.
# shellcheck disable=SC2086
shared() { "$CXX" $CLIENT_FLAGS -fPIC -shared -I"$device/include" "$here/standin/$2.cpp" -o "$device/lib/lib$1.so"; }
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
"$CMAKE" --install "$WORK/build" --prefix "$WORK/prefix" >/dev/null
prefix=$WORK/prefix
find "$prefix" -name 'libvemo.*' -o -name Log.h | grep . && fail "platform files were installed"

# On a device the platform libraries are where the loader looks for them.
client=(-DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_FLAGS="$CLIENT_FLAGS")

echo "== CMake package"
configure "$here/consumer" "$WORK/package" "${client[@]}"
"$CMAKE" --build "$WORK/package"
LD_LIBRARY_PATH="$device/lib" run_programs "$WORK/package"

echo "== pkg-config"
build_with_pkg_config "$prefix" "$WORK/plain"
LD_LIBRARY_PATH="$prefix/$LIBDIR:$device/lib" run_programs "$WORK/plain"

echo "== the platform has moved"
mv "$device" "$WORK/elsewhere"
if configure "$here/consumer" "$WORK/lost" "${client[@]}" >"$WORK/lost.log" 2>&1; then
    fail "the platform has moved and the package was found all the same"
fi
grep -q "set VEMO_PLATFORM_ROOT to" "$WORK/lost.log" || fail "$(cat "$WORK/lost.log")"
configure "$here/consumer" "$WORK/found" "${client[@]}" -DVEMO_PLATFORM_ROOT="$WORK/elsewhere"
"$CMAKE" --build "$WORK/found"
LD_LIBRARY_PATH="$WORK/elsewhere/lib" run_programs "$WORK/found"
