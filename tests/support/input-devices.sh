#!/usr/bin/env bash
# Runs a command that finds made-up devices under /dev/input, with umockdev.
#
#   input-devices.sh FOLDER PROGRAM [ARGUMENT...]    as root
#
# FOLDER holds for each device a description (eventN.umockdev), the answers to its ioctls (eventN.ioctl) and
# what happens to it (eventN.events). Exits with 77 where no such devices can be had.
set -u

case ${STAGE:-} in
"") # udev's database of initialised devices is in /run, which umockdev leaves alone: a /run of our own
    unshare --mount true 2>/dev/null || exit 77
    STAGE=mount exec unshare --mount "$0" "$@"
    ;;
mount)
    mount -t tmpfs none /run || exit 77
    mkdir -p /run/udev/data
    options=()
    for device in "$1"/*.umockdev; do
        name=$(basename "$device" .umockdev)
        options+=(-d "$device" -i "/dev/input/$name=$1/$name.ioctl" -e "/dev/input/$name=$1/$name.events")
    done
    STAGE=number exec umockdev-run "${options[@]}" -- "$0" "$@"
    ;;
number) # Each device is a pseudo terminal by now, and its number must be the one that the kernel tells of it.
    for device in "$1"/*.umockdev; do
        name=$(basename "$device" .umockdev)
        folder=$(dirname "$(find "$UMOCKDEV_DIR/sys/devices" -path "*/$name/uevent")")
        terminal=$(readlink "$UMOCKDEV_DIR/dev/input/$name")
        minor=${terminal##*/}
        sed -i "s/^MAJOR=.*/MAJOR=136/; s/^MINOR=.*/MINOR=$minor/" "$folder/uevent"
        mkdir -p "$UMOCKDEV_DIR/sys/dev/char"
        ln -s "../../${folder#"$UMOCKDEV_DIR/sys/"}" "$UMOCKDEV_DIR/sys/dev/char/136:$minor"
        { echo I:1; sed -n 's/^ID_/E:ID_/p' "$folder/uevent"; } >"/run/udev/data/c136:$minor"
    done
    shift
    STAGE=inside exec "$@"
    ;;
esac
