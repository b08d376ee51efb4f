#!/bin/bash
# Builds a project that has the library as a part of it, and looks at what the library does to that project.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"
unset CMAKE_BUILD_TYPE CMAKE_CXX_COMPILER_LAUNCHER

copy_sources "$WORK/a folder/library"
parent=(-DLIBRARY_SOURCE="$WORK/a folder/library" -DCLIENT_SOURCE="$here/consumer" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON)

for fetch in OFF ON; do
    echo "== nothing of the parent is changed, FetchContent $fetch"
    configure "$here/parent" "$WORK/build-$fetch" "${parent[@]}" -DFETCH=$fetch
    diff -u - "$WORK/build-$fetch/report.txt" <<'END' || fail "the library changes its parent (- expected, + found)"
build type: ''
directory's COMPILE_OPTIONS: ''
directory's COMPILE_DEFINITIONS: ''
directory's LINK_OPTIONS: ''
directory's INCLUDE_DIRECTORIES: ''
library's COMPILE_OPTIONS: 'value-NOTFOUND'
library's COMPILE_DEFINITIONS: 'value-NOTFOUND'
library's LINK_OPTIONS: 'value-NOTFOUND'
library's SOURCES: 'value-NOTFOUND'
END
    "$CMAKE" -L -N "$WORK/build-$fetch" >"$WORK/cache.txt"
    for line in CMAKE_BUILD_TYPE:STRING= VEMO_INSTALL:BOOL=OFF VEMO_BUILD_TESTS:BOOL=OFF VEMO_BUILD_TOOLS:BOOL=OFF \
        VEMO_BUILD_EXAMPLES:BOOL=OFF; do
        grep -qxF "$line" "$WORK/cache.txt" || fail "no '$line' in: $(cat "$WORK/cache.txt")"
    done
    tests=$("$CTEST" --test-dir "$WORK/build-$fetch" -N)
    grep -q "Total Tests: 1\$" <<<"$tests" || fail "the parent has one test of its own: $tests"
done

echo "== the parent sees the installed headers and no others"
folders=$(grep -F "$here/consumer/store.cpp" "$WORK/build-OFF/compile_commands.json" | grep -oE '(-I|-isystem )[^ "]+')
[[ $folders == "-I$WORK/build-OFF/library/include/vemofilesubscriptiondb" ]] || fail "store.cpp is compiled with $folders"
check_files "$WORK/build-OFF/library/include/vemofilesubscriptiondb" "$here/headers.txt"
if "$CMAKE" --build "$WORK/build-OFF" --target curious >"$WORK/curious.log" 2>&1; then
    fail "an inner header of the library was found"
fi
grep -q "TableStore.h.*\(No such file\|not found\)" "$WORK/curious.log" || fail "$(cat "$WORK/curious.log")"

echo "== the programs link and run"
configure "$here/parent" "$WORK/build-OFF" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS=
"$CMAKE" --build "$WORK/build-OFF" --parallel 2
run_programs "$WORK/build-OFF"

echo "== the parent installs what is its own"
"$CMAKE" --install "$WORK/build-OFF" --prefix "$WORK/prefix" >/dev/null
check_files "$WORK/prefix" <(echo bin/store)

echo "== the parent installs the library when it says so"
configure "$here/parent" "$WORK/build-OFF" -DVEMO_INSTALL=ON
"$CMAKE" --build "$WORK/build-OFF" --parallel 2
"$CMAKE" --install "$WORK/build-OFF" --prefix "$WORK/both" >/dev/null
check_files "$WORK/both" <(echo bin/store; installed_files)
