#!/bin/bash
# The bytes of all that is built for users, debug information included, are the same in two different folders.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"
unset CMAKE_BUILD_TYPE CMAKE_CXX_COMPILER_LAUNCHER

build() {
    copy_sources "$1"
    cp -R "$SOURCE"/{tools,examples,docs} "$1"
    # Without optimisation, which takes half of the time and puts no name of a folder anywhere.
    configure "$1" "$2" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O0 -g" -DVEMO_BUILD_TESTS=OFF
    "$CMAKE" --build "$2" --parallel 2
}
build "$WORK/a" "$WORK/a/build/release"
build "$WORK/another/folder" "$WORK/elsewhere"

for file in framework/libvemofilesubscriptiondb.so platform/libvemo.so platform/libvemoplatform.so \
    platform/libsubscriptionmanager.so tools/filedb/filedb examples/notifier/notifier; do
    cmp "$WORK/a/build/release/$file" "$WORK/elsewhere/$file" || fail "$file depends on where it was built"
done
