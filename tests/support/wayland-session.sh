#!/usr/bin/env bash
# Runs a command inside a headless Wayland desktop with a real ScreenCast portal (mutter, PipeWire, the GNOME
# portal), and ends all of it with the command.
#
#   wayland-session.sh PROGRAM [ARGUMENT...]    as root; PROGRAM is copied, so that it may lie where only root reads
#
# Mutter and the portals are no programs for root: they and the command run as user nobody, in a process
# namespace of their own where the system grants one, so that nothing can outlive the session.
# With COMPANION the caller names another program that is copied, and found as GLINTRO_TEST_COMPANION.
# The command finds: GLINTRO_TEST_SESSION=wayland, GLINTRO_TEST_TOKEN (a restore token for the one monitor),
# GLINTRO_TEST_<PROGRAM> (the process of mutter, pipewire, portal), and SIZE, which the caller may choose.
set -u

if [ "$(id -u)" = 0 ]; then
    isolate=()
    unshare --pid --fork --kill-child --mount-proc true 2>/dev/null &&
        isolate=(setpriv --pdeathsig KILL unshare --pid --fork --kill-child --mount-proc)
    dir=$(mktemp -d)
    mkdir -m 700 "$dir/run" "$dir/home" "$dir/portals"
    cp /usr/share/xdg-desktop-portal/portals/gnome.portal "$dir/portals/" # no other back end may start
    cp "$(realpath "$0")" "$dir/session.sh"
    cp "$(realpath "$1")" "$dir/program"
    [ -z "${COMPANION:-}" ] || cp "$(realpath "$COMPANION")" "$dir/companion"
    shift
    chown -R nobody:nogroup "$dir"
    chmod 711 "$dir"
    "${isolate[@]}" setpriv --pdeathsig KILL --reuid=nobody --regid=nogroup --clear-groups \
        env -i PATH="$PATH" LANG=C.UTF-8 SIZE="${SIZE:-1280x720}" XDG_RUNTIME_DIR="$dir/run" HOME="$dir/home" \
        XDG_DESKTOP_PORTAL_DIR="$dir/portals" XDG_CURRENT_DESKTOP=GNOME XDG_SESSION_TYPE=wayland \
        GLINTRO_TEST_COMPANION="$dir/companion" LIBGL_ALWAYS_SOFTWARE=1 dbus-run-session -- "$dir/session.sh" "$dir/program" "$@" &
    trap 'kill $!; wait $!; rm -rf "$dir"; exit 143' TERM
    wait $!
    status=$?
    rm -rf "$dir"
    exit $status
fi

pids=()
trap 'for ((i = ${#pids[@]} - 1; i >= 0; i--)); do kill "${pids[i]}" 2>/dev/null; done' EXIT

start() { # NAME COMMAND...
    local name=$1
    shift
    "$@" >"$HOME/$name.log" 2>&1 &
    pids+=($!)
    export "GLINTRO_TEST_${name^^}=$!"
}

give_up() {
    echo "The test desktop does not come up: $*" >&2
    tail -n 5 "$HOME"/*.log >&2
    exit 77
}

wait_for_file() { # PATH
    local tries
    for ((tries = 0; tries < 300; tries++)); do
        [ ! -e "$1" ] || return 0
        sleep 0.1
    done
    give_up "$1 is missing"
}

wait_for_name() { gdbus wait --session --timeout 30 "$1" || give_up "nobody owns $1"; }

start pipewire pipewire
wait_for_file "$XDG_RUNTIME_DIR/pipewire-0"
start wireplumber wireplumber
start mutter mutter --headless --wayland --no-x11 --sm-disable --virtual-monitor "$SIZE@60" --wayland-display glintro-test
export WAYLAND_DISPLAY=glintro-test
wait_for_file "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY"
wait_for_name org.gnome.Mutter.ScreenCast
dbus-update-activation-environment WAYLAND_DISPLAY XDG_RUNTIME_DIR HOME
start gnome env GSK_RENDERER=cairo GDK_BACKEND=wayland /usr/libexec/xdg-desktop-portal-gnome
wait_for_name org.freedesktop.impl.portal.desktop.gnome
start portal /usr/libexec/xdg-desktop-portal
wait_for_name org.freedesktop.portal.Desktop

# What the portal would remember had the user chosen the monitor in an earlier session.
export GLINTRO_TEST_TOKEN=11111111-2222-4333-8444-555555555555
store() {
    gdbus call --session -d org.freedesktop.impl.portal.PermissionStore \
        -o /org/freedesktop/impl/portal/PermissionStore -m "org.freedesktop.impl.portal.PermissionStore.$@" >/dev/null ||
        give_up "the permission store does not answer"
}
now=$(date +%s)000000
monitor="(uint32 0, uint32 1, <'MetaVendor:MetaVirtualMonitor:0x00'>)"
store SetPermission screencast true "$GLINTRO_TEST_TOKEN" "" '["yes"]'
store SetValue screencast true "$GLINTRO_TEST_TOKEN" "<('GNOME', uint32 1, <(int64 $now, int64 $now, [$monitor])>)>"

GLINTRO_TEST_SESSION=wayland "$@"
status=$?
[ $status = 0 ] || tail -n 10 "$HOME"/*.log >&2
exit $status
