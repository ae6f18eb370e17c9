# What the demo plays on, sourced by it: programs in the background, each with a log, a
# network of its own and a hidden screen in it.

output=build/demo
zep_port=17754
alone=()
declare -A running=()

# start NAME COMMAND...: in the background, with its errors in NAME.log
start()
{
    local name=$1
    shift
    # Without the duplicate, bash would give it no standard input.
    "$@" <&0 2>> "$output/$name.log" &
    running[$name]=$!
}

# wait_for NAME DESCRIPTION COMMAND...: until the command succeeds, as long as the
# program of that name runs; its log is shown if that was in vain
wait_for()
{
    local name=$1 description=$2 end=$((SECONDS + ${limit:-60}))
    shift 2
    until "$@" > /dev/null 2>&1; do
        if ((SECONDS > end)) || ! kill -0 "${running[$name]}" 2> /dev/null; then
            tail -n 10 "$output/$name.log" >&2
            die "waited in vain for $description; see $output/$name.log"
        fi
        sleep 0.1
    done
}

end_all()
{
    kill "${running[@]}" 2> /dev/null || true
    wait
    rm -f "$output/control"
}

# Ordinary users get namespaces of the network and of mounts inside one of users only.
private=(unshare)
[ "$(id -u)" -eq 0 ] || private+=(--user --map-root-user)

# Gives what is started behind "${alone[@]}" a network and a folder for the locks of serial
# ports of its own: no foreign datagrams reach in, and nothing there is taken.
start_network()
{
    start network "${private[@]}" --net --mount bash -ec '
        ip link set lo up
        mount -t tmpfs tmpfs /run/lock
        : > "$1"
        exec sleep infinity' - "$output/network"
    wait_for network "a network of its own" test -e "$output/network"
    alone=(nsenter --target "${running[network]}" --net --mount)
    [ "$(id -u)" -eq 0 ] || alone+=(--user --preserve-credentials)
    alone+=(env --chdir "$PWD")
}

# In the network of its own the screen is found without a socket in /tmp/.X11-unix, a
# folder that only root can make as it should be. Its number is its own: it also names the
# file of the keyboard's map, which a server of the same number would spoil, even in another
# network.
start_screen()
{
    start screen "${alone[@]}" Xvfb ":$$" -displayfd 3 -screen 0 1024x768x24 -dpi 96 \
        -nolisten tcp -nolisten unix 3> "$output/display"
    wait_for screen "the hidden screen" test -s "$output/display"
    DISPLAY=:$(cat "$output/display")
    # Whatever holds for the user's own screen, the buttons are in their places on this one.
    export DISPLAY QT_QPA_PLATFORM=xcb QT_SCALE_FACTOR=1
}

zep_port_holder() { ss -Hulnpe "sport = :$zep_port" | grep .; }

# start_simulator OPTION...: the program, in front of a simulated dongle
start_simulator()
{
    local command=(build/release/bin/fennix-simulator "$@") control=$output/control
    [ -z "$traffic" ] || command+=(--replay "$traffic")
    # Control lines for the simulator come through a pipe that is never at its end.
    mkfifo "$control"
    if $no_firmware; then
        command=(scripts/firmware-stand-in "$control" "${command[@]}" --device mirzel:silent)
    fi
    start simulator "${alone[@]}" "${command[@]}" -- stdbuf -oL build/release/bin/fennix \
        <> "$control" >> "$output/simulator.log"
}

# Wireshark's terminal program with the plug-in as it is here, whatever is installed.
tshark=(scripts/with-plugins packaging/wireshark tshark -n)

# start_capture OPTION...: prints the frames as tshark dissects them, and saves them
start_capture() { start tshark "${alone[@]}" "${tshark[@]}" -l "$@" -P -w "$output/capture.pcapng"; }

# Wireshark's own listener on the port, which needs no right to capture.
start_listener()
{
    start_capture -i udpdump -o "extcap.udpdump.port:$zep_port" -o extcap.udpdump.payload:fennix
    wait_for tshark "tshark to listen on UDP port $zep_port" zep_port_holder
    # It would outlive a tshark that is killed.
    [[ ! $(zep_port_holder) =~ pid=([0-9]+) ]] || running[listener]=${BASH_REMATCH[1]}
}

# read_capture OPTION...: dissects what has been captured so far
read_capture() { "${tshark[@]}" -r "$output/capture.pcapng" "$@" 2> /dev/null; }

# The frames that match a display filter.
count() { read_capture -Y "$1" | wc -l; }

# The second pass knows of frames that came late.
count_missing() { read_capture -2 -T fields -e fennix.missing | awk '{ sum += $1 } END { print sum + 0 }'; }

# has_captured_all COUNT: whether tshark has so many frames, or has had no other one for long
has_captured_all()
{
    local now
    now=$(count zep)
    [ "$now" -eq "${captured:-0}" ] || standstill=0
    captured=$now
    ((now >= $1 || ++standstill > 20))
}

has_said() { grep -q "$1" "$output/simulator.log"; }

# Places of the buttons in the window.
connect_button=(455 368)
start_button=(495 321)
disconnect_button=(470 448)
install_button=(285 277)
back_button=(425 277)

find_window() { window=$("${alone[@]}" xdotool search --onlyvisible --name '^FENNIX$'); }

click() { "${alone[@]}" xdotool mousemove --window "$window" "$@" click 1; }

is_disconnected() { grep -oE '(Disc|C)onnected' "$output/simulator.log" | tail -n 1 | grep -q D; }

screenshot() { "${alone[@]}" import -window "$window" "$output/$1.png"; }
