# What the demo plays on, sourced by it: programs in the background, each with a log, a hidden
# screen and a stand-in for the flashing tool.

output=build/demo
zep_port=17754
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
    rm -f "$output"/{control,outcome}
}

# In a network of its own the screen is found without a socket in /tmp/.X11-unix, a
# folder that only root can make as it should be. Its number is its own: it also names the
# file of the keyboard's map, which a server of the same number would spoil, even in another
# network.
start_screen()
{
    start screen Xvfb ":$$" -displayfd 3 -screen 0 1024x768x24 -dpi 96 \
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
        stand_in_for_flashing
        command+=(--device mirzel:silent)
    fi
    start simulator "${command[@]}" -- stdbuf -oL build/release/bin/fennix \
        <> "$control" >> "$output/simulator.log"
}

# A firmware file, and a sudo that only plays the flashing tool, in a /usr/share of its own.
stand_in_for_flashing()
{
    mkdir "$output/bin" "$output/fw"
    echo "no real firmware" > "$output/fw/sniffer.GCF"
    mkdir -p /usr/share/fennix
    mount --bind "$output" /usr/share/fennix
    ln -s "$PWD/tests/support/stand-in-for-sudo" "$output/bin/sudo"
    PATH=$PWD/$output/bin:$PATH
    mkfifo "$output/outcome"
    start flashing play_flashing
}

# What the stand-in for sudo says whenever it is started, and what then becomes of the dongle.
play_flashing()
{
    local step
    while true; do
        {
            for step in erasing writing verifying; do
                echo "$step"
                sleep 0.7
            done
            echo "flash ttyUSB0" 1<> "$output/control"
            touch "$output/installed"
            echo 0
        } > "$output/outcome"
        # The pipe's reader has ended by then.
        sleep 1
    done
}

# Wireshark's terminal program with the plug-in as it is here, whatever is installed.
tshark=(scripts/with-plugins packaging/wireshark tshark -n)

# start_capture OPTION...: prints the frames as tshark dissects them, and saves them
start_capture() { start tshark "${tshark[@]}" -l "$@" -P -w "$output/capture.pcapng"; }

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

find_window() { window=$(xdotool search --onlyvisible --name '^FENNIX$'); }

# click WIDGET: a widget of the form
click()
{
    local x y
    read -r x y < <(sed -n "s/^$1 //p" tests/support/button-places)
    xdotool mousemove --window "$window" "$x" "$y" click 1
}

is_disconnected() { grep -oE '(Disc|C)onnected' "$output/simulator.log" | tail -n 1 | grep -q D; }

screenshot() { import -window "$window" "$output/$1.png"; }
