#!/bin/sh
# installPackage.sh SOURCE FOLDER: makes FOLDER a copy of the package in SOURCE, with everything in the versions that
# its lock file names. Asks for it only when that file has changed. Status 77 where there is no npm, or no registry
# to ask: then what needs the package is skipped, too.
set -o errexit -o nounset

skip() {
    echo "SKIPPED: $1"
    exit 77
}

# What npm calls a registry that does not answer, or only by way of something between that refuses.
unreachable='E(CONNREFUSED|CONNRESET|NOTFOUND|AI_AGAIN|TIMEDOUT|HOSTUNREACH|NETUNREACH|403|407|5[0-9][0-9])'
unreachable="code ($unreachable|ERR_SOCKET_TIMEOUT|FETCH_ERROR|ENOTCACHED)"

command -v npm >/dev/null || skip "npm is not installed"
mkdir -p "$2"
cp "$1"/* "$2"
cd -- "$2"
if cmp -s package-lock.json installed-lock.json; then exit; fi
rm -f installed-lock.json
if npm ci --ignore-scripts --no-audit --no-fund --prefer-offline --fetch-retries=1 --fetch-timeout=60000 >npm.log 2>&1
then
    cp package-lock.json installed-lock.json
    exit
fi
cat npm.log
if grep -Eq "$unreachable" npm.log; then skip "the package registry cannot be reached"; fi
exit 1
