#!/bin/bash
# The bytes of the programs are the same when they are built once more, in other folders.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"
unset CMAKE_BUILD_TYPE CMAKE_CXX_COMPILER_LAUNCHER

copy_sources "$WORK/another/folder"
cp -R "$SOURCE"/{tools,examples,docs} "$WORK/another/folder"
configure "$WORK/another/folder" "$WORK/elsewhere" -DCMAKE_BUILD_TYPE="$BUILD_TYPE" -DVEMO_BUILD_TESTS=OFF
"$CMAKE" --build "$WORK/elsewhere" --target filedb notifier --parallel 2

for program in tools/filedb/filedb examples/notifier/notifier; do
    cmp "$BUILD/$program" "$WORK/elsewhere/$program" || fail "$program depends on where it was built"
done
