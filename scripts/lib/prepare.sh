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
    need_packages "${packages[@]}"
    # Root's Wireshark needs namespaces, too.
    [ ${#world[@]} -eq 0 ] && [ "$(id -u)" -ne 0 ] || tests/support/run-alone true >&2 || exit 1
    $unattended || { check_screen && check_port; }

    rm -rf "$output"
    mkdir -p "$output"
    build_preset release fennix fennix-simulator
    # Before the window comes up, the simulator says what is wrong with a capture.
    [ -z "$traffic" ] || build/release/bin/fennix-simulator --replay "$traffic" true || exit 1
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
