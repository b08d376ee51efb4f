#!/bin/bash
# The bytes of the installed libraries are the same wherever they were built: the builds of the tests "plain" and
# "subproject" differ in the folders of sources and build, in the generator and in who is the top project.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/common.sh"

for library in vemofilesubscriptiondb vemo vemoplatform subscriptionmanager; do
    cmp "$PLAIN/prefix/lib/lib$library.so" "$SUBPROJECT/both/lib/lib$library.so" ||
        fail "lib$library.so depends on where it was built"
done
