#!/usr/bin/env bash
# onFileSystem.sh FILESYSTEM USER PROGRAM [ARGUMENT...]: runs the program with its temporary files on a new file system
# (ext4, xfs, btrfs, btrfs-subvolume, tmpfs), as "root" or as an "ordinary" user. The file system is visible to this run
# only, and ends with it. Ends with 77 and a reason where it cannot be made.
set -o errexit -o nounset -o pipefail

skip() {
    printf 'SKIPPED: %s\n' "$*" >&2
    exit 77
}

file_system=$1 user=$2
shift 2
((EUID == 0)) || skip "only root mounts file systems"

# The mounts below belong to this process alone.
if [[ -z ${DOVRA_OWN_MOUNTS-} ]]; then
    unshare --mount true 2>/dev/null || skip "no mounts of one's own here"
    DOVRA_OWN_MOUNTS=yes exec unshare --mount -- "$0" "$file_system" "$user" "$@"
fi

work=$(mktemp --directory)
place=$work/place
trap 'umount --lazy "$place" 2>/dev/null || true; rm --recursive --force "$work"' EXIT
mkdir "$place"

# make_image MEGABYTES MAKER...: makes a file with a file system in it, and mounts it.
make_image() {
    truncate --size="$1M" "$work/image"
    shift
    command -v "$1" >/dev/null || skip "$1 is not installed"
    "$@" "$work/image" >/dev/null
    mount -o loop "$work/image" "$place" || skip "a $file_system image cannot be mounted here"
}

case $file_system in
    ext4) make_image 512 mkfs.ext4 -q ;;
    xfs) make_image 512 mkfs.xfs -q ;;
    btrfs) make_image 512 mkfs.btrfs -q ;;
    btrfs-subvolume)
        make_image 512 mkfs.btrfs -q
        btrfs subvolume create "$place/part" >/dev/null
        umount "$place"
        mount -o loop,subvol=part "$work/image" "$place"
        ;;
    tmpfs) mount -t tmpfs -o size=512M tmpfs "$place" || skip "no tmpfs can be mounted here" ;;
    *) printf 'unknown file system: %s\n' "$file_system" >&2 && exit 2 ;;
esac
chmod a+rwxt "$place"
chmod a+rx "$work"

# The program is copied, because the ordinary user may not reach the original.
cp "$1" "$work/program"
shift
as_user=()
[[ $user == root ]] || as_user=(setpriv --reuid=65534 --regid=65534 --clear-groups)
TMPDIR=$place HOME=$place "${as_user[@]}" "$work/program" "$@"
