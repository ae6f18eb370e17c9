# What the demo has to know and to have before it starts, sourced by it: each check ends it
# with one line when something would not work later.

# Finds out what does not work before anything takes long, then builds.
prepare()
{
    check_build_folder
    local packages=("${build_packages[@]}" "${simulator_packages[@]}" "${capture_packages[@]}"
        "${namespace_packages[@]}")
    if $unattended; then
        packages+=("${screen_packages[@]}")
    elif [ -n "${DISPLAY:-}" ]; then
        packages+=(xdotool)
    else
        packages+=(qtwayland5)
    fi
    [ -z "$traffic" ] || { [ -f "$traffic" ] && [ -r "$traffic" ]; } || die "cannot read $traffic"
    if $unattended || $no_firmware || [ "$(id -u)" -eq 0 ]; then check_namespaces; fi

    rm -rf "$output"
    mkdir -p "$output"
    ! $no_firmware || scripts/firmware-stand-in "$output/control" true \
        || die "this machine cannot play a /usr/share with a firmware file"

    need_packages "${packages[@]}"
    [ -z "$traffic" ] || check_capture "$traffic"
    $unattended || { check_screen && check_port; }
    build_preset release fennix fennix-simulator
}

check_namespaces()
{
    local setting refuses grants
    "${private[@]}" --net --mount true 2> /dev/null && return
    [ "$(id -u)" -ne 0 ] || die "this machine grants no namespaces, not even to root; is it a container?"
    while read -r setting refuses grants; do
        [ "$(cat "/proc/sys/${setting//.//}" 2> /dev/null)" != "$refuses" ] || die "this machine" \
            "grants namespaces to root only; be root, or run: sudo sysctl $setting=$grants"
    done << SETTINGS
kernel.unprivileged_userns_clone 0 1
kernel.apparmor_restrict_unprivileged_userns 1 0
user.max_user_namespaces 0 10000
SETTINGS
    die "this machine grants namespaces to root only (is it a chroot?); be root"
}

check_screen()
{
    local socket=${WAYLAND_DISPLAY:-}
    if [ -n "${DISPLAY:-}" ]; then
        xdotool getdisplaygeometry > /dev/null 2>&1 && return
    else
        # Without a session's word for it Qt would look for an X server only.
        export QT_QPA_PLATFORM=wayland
        [[ $socket = /* ]] || socket=${XDG_RUNTIME_DIR:-}/$socket
        perl -MIO::Socket::UNIX -e 'exit !IO::Socket::UNIX->new(Peer => shift)' "$socket" && return
    fi
    die "the display ${DISPLAY:-$WAYLAND_DISPLAY} cannot be reached; --unattended needs none"
}

check_port()
{
    local holder who=root
    holder=$(zep_port_holder) || return 0
    if [[ $holder =~ users:\(\(\"([^\"]*)\",pid=([0-9]+) ]]; then
        who="${BASH_REMATCH[1]} (process ${BASH_REMATCH[2]})"
    elif [[ $holder =~ uid:([0-9]+) ]]; then
        who="the user $(id -nu "${BASH_REMATCH[1]}")"
    fi
    die "UDP port $zep_port is taken by $who; end that first, or try --unattended"
}

# The simulator's own rules for a capture, before it has been built.
check_capture()
{
    local file=$1 facts largest=127 unfit
    case $(od -An -tx4 -N4 "$file") in
    *a1b2c3d4 | *d4c3b2a1 | *a1b23c4d | *4d3cb2a1 | *0a0d0d0a) ;;
    *) die "$file is no pcap or pcapng capture" ;;
    esac
    facts=$(capinfos -T -r -m -E -c "$file" 2> /dev/null) || die "$file is damaged"
    [[ $facts =~ ,([^,]*),([0-9]+)$ ]] || die "$file cannot be understood by capinfos"
    case ${BASH_REMATCH[1]} in
    wpan) ;;
    wpan-nofcs) largest=125 ;;
    *) die "$file has the link type ${BASH_REMATCH[1]}, not IEEE 802.15.4 (195 or 230)" ;;
    esac
    [ "${BASH_REMATCH[2]}" -gt 0 ] || die "$file holds no frames"
    unfit=$(tshark -r "$file" -Y "frame.cap_len < frame.len || frame.len > $largest" \
        -T fields -e frame.number 2> /dev/null | sed -n 1p)
    [ -z "$unfit" ] || die "$file: frame $unfit was cut when captured, or is longer than $largest bytes"
}
