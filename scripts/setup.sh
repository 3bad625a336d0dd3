# Sourced by run, test and lint: installs missing packages and builds a preset. Every line for people goes to
# standard error, except what `build` prints, which its caller directs.
# shellcheck shell=bash disable=SC2034 # the package lists are used by those who source this

project_folder=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)

# What compiling Dovra needs, by the names of Debian 12.
build_packages=(
    g++ cmake ninja-build pkg-config
    libpcre2-dev libicu-dev libtbb-dev libfmt-dev libplist-dev libssl-dev nlohmann-json3-dev
    libasio-dev libkainjow-mustache-dev
)
# What building and running the tests needs beside them.
test_packages=(libgtest-dev libgmock-dev tzdata locales attr python3 e2fsprogs xfsprogs btrfs-progs chromium)
# Node comes with its package manager, or not, depending on whose package it is.
command -v npm >/dev/null || test_packages+=(nodejs npm)
# What ./lint runs.
lint_packages=(clang-format clang-tidy-16 shellcheck)

say() {
    printf '%s\n' "$*" >&2
}

fail() {
    say "$@"
    exit 1
}

# Prints those of the named packages that are not installed, one a line.
missing_packages() {
    local installed package
    # It fails when it knows nothing of one of the names, and still lists the others.
    installed=$(dpkg-query --show --showformat='${Package} ${db:Status-Status}\n' "$@" 2>/dev/null) || true
    for package in "$@"; do
        [[ $'\n'$installed$'\n' == *$'\n'"$package installed"$'\n'* ]] || printf '%s\n' "$package"
    done
}

# Installs those of the named packages that are missing.
ensure_packages() {
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        say "Not a Debian system: going on with what is installed (needed are the counterparts of: $*)."
        return
    fi
    local missing
    mapfile -t missing < <(missing_packages "$@")
    ((${#missing[@]})) || return 0
    say "Installing: ${missing[*]}"

    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0)
    if ((EUID != 0)); then
        command -v sudo >/dev/null || fail "Install these packages as root first: ${missing[*]}"
        apt=(sudo "${apt[@]}")
    fi
    "${apt[@]}" -qq update </dev/null >&2 || say "The package lists could not be renewed; trying with the old ones."
    "${apt[@]}" -qq install --yes --no-install-recommends "${missing[@]}" </dev/null >&2 \
        || fail "Installing failed: ${missing[*]}"
}

# configure PRESET TESTS: writes the preset's build files, with tests if TESTS is ON, unless they are there and as
# new as the presets. Tests that were configured before stay.
configure() {
    local folder=build/$1 tests=$2 launcher=()
    ! grep -qs '^DOVRA_TESTS:BOOL=ON' "$folder/CMakeCache.txt" || tests=ON
    [[ CMakePresets.json -nt $folder/build.ninja ]] \
        || ! grep -qs "^DOVRA_TESTS:BOOL=$tests" "$folder/CMakeCache.txt" \
        || return 0
    ! command -v ccache >/dev/null || launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    cmake --preset "$1" -DDOVRA_TESTS="$tests" "${launcher[@]}" </dev/null
}

# build PRESET [TARGET]: brings the target up to date, or all there is, tests included; prints nothing where nothing
# has changed. Two builds of one preset at a time would write the same files, so the second waits for the first.
build() (
    preset=$1
    target=${2-all}
    cd -- "$project_folder" && mkdir -p build && exec {lock}>"build/$preset.lock" && flock "$lock" || exit
    [[ $target == all ]] && tests=ON || tests=OFF
    configure "$preset" "$tests" || exit
    # The filter drops the two lines that ninja prints even when there is nothing to do.
    set -o pipefail
    cmake --build --preset "$preset" --target "$target" </dev/null 2>&1 \
        | { grep --line-buffered --invert-match -e 'Re-checking globbed directories' -e '^ninja: no work' || true; }
)
