#!/bin/sh
# install.sh FOLDER: makes the folder the package that runs the test, with the library in the version that the lock
# file names. Asks for the library only when that file has changed.
set -o errexit -o nounset

source_folder=$(cd -- "$(dirname -- "$0")" && pwd)
mkdir -p "$1"
cd -- "$1"
cp "$source_folder/package.json" "$source_folder/package-lock.json" "$source_folder/toolClient.test.mjs" .
if ! cmp -s package-lock.json installed-lock.json; then
    npm ci --ignore-scripts --no-audit --no-fund --prefer-offline --fetch-retries=1
    cp package-lock.json installed-lock.json
fi
