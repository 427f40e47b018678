#!/usr/bin/env bash
# Installs what building Glintro needs and this machine does not have yet.
#
#   scripts/setup.sh          what building and running the program needs: `make demo`
#   scripts/setup.sh test     what `make test` and `make bench` need besides
#   scripts/setup.sh format   what `make lint-quick` needs besides
#   scripts/setup.sh lint     what `make lint` needs besides that
#
# Needs nothing but bash and apt. Where all is there already it asks nobody and touches nothing.
set -euo pipefail

group=${1:-build}

case $group in
build)
    debian=(
        g++ cmake ninja-build ccache make pkg-config
        nlohmann-json3-dev libfmt-dev libcli11-dev libhwy-dev
        libavcodec-dev libavdevice-dev libavfilter-dev libavformat-dev libavutil-dev libswresample-dev libswscale-dev
        libcairo2-dev libpango1.0-dev libimagequant-dev libcgif-dev fonts-inter
        qt6-base-dev
        libpipewire-0.3-dev libpulse-dev libsystemd-dev libinput-dev libudev-dev
        libxcb1-dev libxcb-{shm0,damage0,composite0,xfixes0,randr0,xtest0,ewmh,icccm4,render0,keysyms1,res0,record0}-dev
    )
    fedora=(
        gcc-c++ cmake ninja-build ccache make pkgconf-pkg-config
        json-devel fmt-devel cli11-devel highway-devel
        ffmpeg-devel # from RPM Fusion: Fedora's own FFmpeg has no libx264
        cairo-devel pango-devel libimagequant-devel libcgif-devel rsms-inter-fonts qt6-qtbase-devel
        pipewire-devel pulseaudio-libs-devel systemd-devel libinput-devel
        libxcb-devel xcb-util-wm-devel xcb-util-keysyms-devel
    )
    arch=(
        gcc cmake ninja ccache make pkgconf
        nlohmann-json fmt cli11 highway ffmpeg cairo pango libimagequant cgif inter-font qt6-base
        pipewire libpulse systemd-libs libinput libxcb xcb-util-wm xcb-util-keysyms
    )
    ;;
test)
    debian=(
        libgtest-dev librapidcheck-dev libbenchmark-dev ffmpeg
        umockdev xwayland xvfb openbox xterm xdotool x11-utils x11-xserver-utils picom xserver-xephyr xserver-xorg-core xserver-xorg-video-dummy
        mutter pipewire wireplumber pipewire-pulse pulseaudio pulseaudio-utils dbus
        xdg-desktop-portal xdg-desktop-portal-gnome libgl1-mesa-dri libglib2.0-bin gsettings-desktop-schemas
        gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-pipewire
    )
    fedora=(
        gtest-devel rapidcheck-devel google-benchmark-devel ffmpeg
        umockdev xorg-x11-server-Xwayland xorg-x11-server-Xvfb openbox xterm xdotool xorg-x11-utils xorg-x11-server-utils picom
        xorg-x11-server-Xephyr xorg-x11-server-Xorg xorg-x11-drv-dummy mutter pipewire wireplumber pipewire-pulseaudio pulseaudio
        pulseaudio-utils dbus-daemon xdg-desktop-portal xdg-desktop-portal-gnome mesa-dri-drivers glib2
        gstreamer1 gstreamer1-plugins-base pipewire-gstreamer
    )
    arch=(
        gtest rapidcheck benchmark
        umockdev xorg-xwayland xorg-server-xvfb openbox xterm xdotool xorg-xprop xorg-xrandr picom xorg-server-xephyr xorg-server xf86-video-dummy mutter
        wireplumber pipewire-pulse pulseaudio dbus xdg-desktop-portal xdg-desktop-portal-gnome mesa glib2
        gstreamer gst-plugins-base gst-plugin-pipewire
    )
    ;;
format)
    debian=(clang-format-14)
    fedora=(clang14-tools-extra)
    arch=(clang14)
    ;;
lint)
    debian=(clang-tidy-19)
    fedora=(clang-tools-extra)
    arch=(clang)
    ;;
*)
    echo "usage: scripts/setup.sh [build|test|format|lint]" >&2
    exit 2
    ;;
esac

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    cat >&2 <<EOT
Glintro installs its packages on Debian and its relatives only. Install these yourself:
  Fedora: sudo dnf install ${fedora[*]}
  Arch:   sudo pacman -S --needed ${arch[*]}
and then say so to make, for example: make test SETUP=no
EOT
    exit 1
fi

missing=()
for package in "${debian[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [[ $state == installed ]] || missing+=("$package")
done
((${#missing[@]})) || exit 0

as_root=()
if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
        echo "These packages are missing, and installing them needs root or sudo: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi

apt_get() { "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300 "$@"; }
install_missing() { apt_get install -y --no-install-recommends "${missing[@]}"; }

# The package lists may be missing, as in a fresh container, or so old that they name versions which the mirror
# no longer has. A source that is out of reach matters only when a package is missing in all the others.
update() { apt_get update || true; }

echo "Installing ${missing[*]}"
apt-get install -s "${missing[@]}" >/dev/null 2>&1 || update
install_missing || { update && install_missing; } || {
    echo "Not everything could be installed: ${missing[*]}" >&2
    exit 1
}
