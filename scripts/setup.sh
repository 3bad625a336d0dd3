# Sourced by run, test and lint: installs missing packages and builds a preset. Messages go to standard error; the
# caller directs the output of `build`.
# shellcheck shell=bash disable=SC2034 # the sourcing scripts use the package lists

project_folder=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)

# Packages for compiling Dovra, by their names in Debian 12.
build_packages=(
    g++ cmake ninja-build pkg-config
    libpcre2-dev libicu-dev libtbb-dev libfmt-dev libplist-dev libssl-dev nlohmann-json3-dev
    libasio-dev libkainjow-mustache-dev
)
# Further packages for the desktop's windows, which other modes and servers do without.
desktop_packages=(
    qt6-base-dev qt6-svg-dev qt6-pdf-dev libmediainfo-dev qt6-wayland libxcb1-dev xdg-utils fonts-dejavu-core
)
# Further packages for building and running the tests.
test_packages=(libgtest-dev libgmock-dev tzdata locales attr python3 e2fsprogs xfsprogs btrfs-progs)
# Some tests are skipped without these. Debian's Node comes without its package manager, other packages of Node include
# it.
optional_packages=(
    "${desktop_packages[@]}" xvfb openbox xdotool weston dbus-daemon python3-gi at-spi2-core gir1.2-atspi-2.0 libglib2.0-bin desktop-file-utils
    appstream man-db chromium
)
command -v npm >/dev/null || optional_packages+=(nodejs npm)
# Programs of ./lint.
lint_packages=(clang-format clang-tidy-16 shellcheck)

say() {
    printf '%s\n' "$*" >&2
}

fail() {
    say "$@"
    exit 1
}

# Prints the named packages that are not installed, one a line.
missing_packages() {
    local installed package
    # The query fails for an unknown name, and still lists the others.
    installed=$(dpkg-query --show --showformat='${Package} ${db:Status-Status}\n' "$@" 2>/dev/null) || true
    for package in "$@"; do
        [[ $'\n'$installed$'\n' == *$'\n'"$package installed"$'\n'* ]] || printf '%s\n' "$package"
    done
}

# Installs the missing ones of the named packages.
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

# Whether the folder's build files leave out the windows or the previews, although what they need is there by now.
lacks_windows() {
    local part=dovra-preview
    [[ $1 != */asan ]] || part='dovra_desktop\.so'
    [[ $1 != */tsan ]] && ! grep -qs "$part" "$1/build.ninja" && command -v dpkg-query >/dev/null \
        && [[ -z $(missing_packages qt6-base-dev qt6-svg-dev libxcb1-dev qt6-pdf-dev libmediainfo-dev) ]]
}

# configure PRESET TESTS: writes the preset's build files, with tests if TESTS is ON, unless they exist, are newer than
# the presets and leave nothing out. Tests stay configured once they were.
configure() {
    local folder=build/$1 tests=$2 launcher=()
    ! grep -qs '^DOVRA_TESTS:BOOL=ON' "$folder/CMakeCache.txt" || tests=ON
    [[ CMakePresets.json -nt $folder/build.ninja ]] \
        || ! grep -qs "^DOVRA_TESTS:BOOL=$tests" "$folder/CMakeCache.txt" \
        || lacks_windows "$folder" \
        || return 0
    ! command -v ccache >/dev/null || launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    cmake --preset "$1" -DDOVRA_TESTS="$tests" "${launcher[@]}" </dev/null
}

# build PRESET [TARGET...]: brings the targets up to date, or everything with the tests. Prints nothing if nothing has
# changed. Two builds of one preset would write the same files, so the second waits for the first.
build() (
    preset=$1
    shift
    (($#)) || set -- all
    cd -- "$project_folder" && mkdir -p build && exec {lock}>"build/$preset.lock" && flock "$lock" || exit
    [[ $1 == all ]] && tests=ON || tests=OFF
    configure "$preset" "$tests" || exit
    # The filter drops the two lines that ninja prints even without work.
    set -o pipefail
    cmake --build --preset "$preset" --target "$@" </dev/null 2>&1 \
        | { grep --line-buffered --invert-match -e 'Re-checking globbed directories' -e '^ninja: no work' || true; }
)
