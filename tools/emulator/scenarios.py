"""What the emulated computer has to show, each with a name and a line for the reader."""

import os
import time

from bench import (
    BACK,
    GATEWAY,
    HELP_MENU,
    INSTALL_FIRMWARE,
    IS_LISTENING,
    MANUAL,
    OWN_ADDRESS,
    START,
    STOP,
    USER,
    Listener,
)
from guest import Failure, wait_until

SCENARIOS = {}

# TIOCGICOUNT, whose tenth number is that of the breaks.
COUNT_BREAKS = """python3 -c "
import fcntl, os, struct
port = os.open('/dev/ttyUSB0', os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
print(struct.unpack('20i', fcntl.ioctl(port, 0x545D, bytes(80)))[9])" """

FLASHING_TOOL = """#!/bin/sh
id -un > /run/flashed.part
echo "$0 $*" >> /run/flashed.part
mv /run/flashed.part /run/flashed
echo verified
"""

# What is sent within three seconds.
FRAMES = 60


def scenario(name):
    def register(function):
        SCENARIOS[name] = function
        return function

    return register


@scenario("install")
def install(bench):
    """apt installs the packages"""
    bench.power_on()
    bench.guest.wait_for_agent()
    bench.guest.run("mount -r /dev/vdb /mnt")
    bench.guest.run("DEBIAN_FRONTEND=noninteractive apt-get -q -y install /mnt/*.deb", limit=900)
    versions = bench.guest.run("dpkg-query -W -f '${Package} ${Version} ' fennix fennix-data")
    return versions.strip()


@scenario("power-on")
def power_on(bench):
    """from power-on to the window"""
    bench.power_on()
    bench.guest.wait_for_agent()
    bench.wait_for_window(limit=600)
    seconds = time.monotonic() - bench.guest.started
    machine = bench.guest.run("uname -rm").strip()
    return f"{seconds:.0f} s, Linux {machine}"


@scenario("board")
def board(bench):
    """the board on the machine's own UART through /dev/serial0"""
    bench.use("board")
    bench.connect()
    got = bench.capture(FRAMES)
    got.check(bench.frames)
    return f"{bench.driver(bench.board_port)}, {len(got)} frames identical and in sequence"


@scenario("dongle")
def dongle(bench):
    """the dongle on ftdi_sio, its frames in the guest's tshark"""
    bench.use("dongle")
    bench.connect()
    begin = len(bench.datagrams())
    got = bench.capture(2 * len(bench.frames))
    got.check(bench.frames)
    dissected = bench.dissect()[begin : begin + len(got)]
    undissected = [line for line in dissected if "wpan" not in line and "Ack" not in line]
    undissected += [line for line in dissected if "Bad FCS" in line]
    if (
        len(dissected) != len(got)
        or undissected
        or not any("OnOff: Toggle" in line for line in dissected)
    ):
        raise Failure(f"not dissected as they should be: {undissected or dissected}")
    return f"{bench.driver('ttyUSB0')}, {len(got)} frames identical, in sequence and dissected"


@scenario("remote")
def remote(bench):
    """the same frames on another machine"""
    bench.use("dongle")
    bench.connect()
    bench.set_remote_address(GATEWAY)
    with Listener(bench.folder) as listener:
        bench.click(START)
        wait_until(lambda: len(listener.datagrams()) >= FRAMES, f"{FRAMES} datagrams", pause=1)
        bench.screenshot("remote-capture")
        bench.click(STOP)
    bench.set_remote_address(OWN_ADDRESS)
    got = listener.datagrams()
    got.check(bench.frames)
    if listener.dissected() != len(got):
        raise Failure(f"{listener.dissected()} of {len(got)} frames are dissected")
    return f"{len(got)} frames identical, in sequence and dissected at {GATEWAY}"


@scenario("replug")
def replug(bench):
    """pulled out while capturing and plugged in again"""
    bench.use("dongle")
    bench.connect()
    before = bench.capture(FRAMES)
    errors = bench.log_count("Critical Error")
    begin = time.monotonic()
    bench.pull_out()
    bench.wait_for_log("Critical Error", errors)
    seconds = time.monotonic() - begin
    bench.use("dongle")
    bench.connect()
    after = bench.capture(FRAMES)
    before.check(bench.frames)
    after.check(bench.frames)
    reported = bench.log_count("Critical Error") - errors
    count = f"{len(before)} frames before, {len(after)} after"
    return f"{count}; {reported} error reported within {seconds:.1f} s"


@scenario("watchdog")
def watchdog(bench):
    """restarted by the device's watchdog while capturing"""
    bench.use("dongle")
    bench.connect()
    begin = len(bench.datagrams())
    bench.capture(FRAMES)
    restarts = bench.log_count("watchdog")
    bench.simulator.control("restart ttyUSB0")
    bench.wait_for_log("watchdog", restarts)
    bench.wait_for_datagrams(FRAMES, len(bench.datagrams()))
    got = bench.datagrams().since(begin)
    got.check(bench.frames)
    return f"{len(got)} frames in sequence before and after, without a click"


@scenario("killed")
def killed(bench):
    """the program killed while capturing and started again"""
    bench.use("dongle")
    bench.connect()
    bench.capture(FRAMES).check(bench.frames)
    bench.guest.run("pkill -KILL -x fennix")
    wait_until(lambda: not bench.window(), "the end of the window")
    begin = len(bench.datagrams())
    bench.launch()
    bench.wait_for_window()
    bench.connect()
    got = bench.capture(FRAMES)
    got.check(bench.frames)
    # Until it is told to idle, the device goes on with what the killed program asked for.
    all_of_them = bench.datagrams().since(begin)
    all_of_them.check_numbers()
    return (
        f"{len(got)} frames identical and in sequence, numbered from {all_of_them.numbers[0]} again"
    )


@scenario("line")
def line(bench):
    """a break and noise on the line while capturing"""
    bench.use("dongle")
    bench.connect()
    begin = len(bench.datagrams())
    bench.capture(FRAMES)
    bench.bridge.send_break()
    bench.wait_for_datagrams(FRAMES, len(bench.datagrams()))
    breaks = bench.guest.run(COUNT_BREAKS).strip()
    bench.simulator.control("noise ttyUSB0 300")
    bench.wait_for_datagrams(FRAMES, len(bench.datagrams()))
    got = bench.datagrams().since(begin)
    got.check_numbers()
    # A break in the middle of a frame spoils that one.
    spoilt = got.foreign(bench.frames)
    if breaks != "1" or spoilt > 1:
        raise Failure(f"the kernel counts {breaks} breaks, {spoilt} frames are spoilt")
    return f"{len(got)} frames, {spoilt} of them spoilt; the kernel counts {breaks} break"


@scenario("seat")
def seat(bench):
    """the dongle is the person's at the seat, without a group"""
    bench.use("dongle")
    entry = f"user:{USER}:rw-"
    granted = f"getfacl -cp /dev/ttyUSB0 | grep -qx {entry}"
    sessions = bench.guest.run("loginctl list-sessions --no-legend").split()
    groups = bench.guest.run(f"id -nG {USER}").split()
    if not bench.guest.succeeds(granted) or "seat0" not in sessions or groups != [USER]:
        raise Failure(
            f"the user has not been given the dongle; groups {groups}, session {sessions}"
        )
    if bench.guest.succeeds("runuser -u nobody -- test -r /dev/ttyUSB0"):
        raise Failure("everybody may open the dongle")

    return f"getfacl has {entry}; groups: {' '.join(groups)}; session on {sessions[3]}"


@scenario("modemmanager")
def modemmanager(bench):
    """ModemManager asks another adapter, and leaves the dongle alone"""
    bench.use("dongle")
    guest = bench.guest
    guest.run("systemctl stop ModemManager")
    written = bench.bridge.written
    guest.run("setsid ModemManager --debug > /run/modemmanager.log 2>&1 < /dev/null &")
    bench.plug_in_adapter()
    wait_until(lambda: os.path.getsize(bench.adapter_log), "questions to the other adapter")
    guest.run("pkill -x ModemManager; true")
    guest.monitor.call("device_del", id="adapter")
    log = guest.run("cat /run/modemmanager.log")
    with open(f"{bench.folder}/modemmanager.log", "w", encoding="utf-8") as kept:
        kept.write(log)
    with open(bench.adapter_log, "rb") as asked:
        question = asked.read(8)
    filtered = "(tty/ttyUSB0): port filtered: device is blocklisted"
    if bench.bridge.written != written or filtered not in log:
        raise Failure("ModemManager has not left the dongle alone; see modemmanager.log")
    return f"{filtered}; the adapter is asked {question}"


@scenario("firmware")
def firmware(bench):
    """firmware installed by a stand-in tool, as the sudoers example permits"""
    bench.use("dongle")
    guest = bench.guest
    guest.run(
        f"sed 's/^%dialout/{USER}/' /usr/share/doc/fennix/examples/sudoers > /etc/sudoers.d/fennix"
    )
    guest.run("chmod 440 /etc/sudoers.d/fennix && visudo -cq")
    guest.run(f"cat > /usr/bin/Ostraflash_sniffer << 'TOOL'\n{FLASHING_TOOL}TOOL")
    guest.run("chmod 755 /usr/bin/Ostraflash_sniffer; echo none > /usr/share/fennix/fw/sniffer.GCF")
    bench.simulator.control("fail ttyUSB0")
    bench.press_connect()
    bench.screenshot("firmware-page")
    bench.click(INSTALL_FIRMWARE)
    wait_until(lambda: guest.succeeds("test -e /run/flashed"), "the tool's start")
    user, call = guest.run("cat /run/flashed; rm /run/flashed").splitlines()
    bench.simulator.control("flash ttyUSB0")
    time.sleep(3)
    bench.screenshot("firmware-done")
    bench.click(BACK)
    bench.connect()
    bench.disconnect()
    if guest.succeeds("sudo -n true", USER):
        raise Failure("the user may do anything as root")
    return f"{user} ran: {call}"


@scenario("manual")
def manual(bench):
    """the manual from the Help menu in a PDF viewer"""
    bench.click(HELP_MENU)
    bench.xdotool("key --delay 200 Down Down Down Return")
    title = bench.title(bench.wait_for_window(MANUAL))
    bench.finish_picture()
    return f"'{title}'"


@scenario("wireshark")
def wireshark(bench):
    """Wireshark opened by the desktop entry's action"""
    bench.use("dongle")
    bench.stop_capture()
    bench.guest.run("rm -f /tmp/wireshark_*")
    bench.launch("wireshark")
    window = bench.wait_for_window("^Capturing from", 300)
    wait_until(lambda: bench.guest.succeeds(IS_LISTENING), "Wireshark to listen")
    bench.connect()
    bench.click(START)
    wait_until(lambda: len(bench.frames_in_wireshark()) > FRAMES, "frames in Wireshark")
    bench.disconnect()
    bench.xdotool(f"windowactivate {window} windowmove {window} 0 20 windowsize {window} 1020 720")
    bench.finish_picture()
    title = bench.title(window)
    got = bench.frames_in_wireshark()
    got.check(bench.frames)
    dissected = bench.dissect("/tmp/wireshark_*.pcapng")
    marked = [line for line in dissected if "Bad FCS" in line]
    if len(dissected) < len(got) or marked:
        raise Failure(f"{len(dissected)} of {len(got)} dissected, marked as damaged: {marked}")
    return f"{len(got)} frames in '{title}', none of them marked"
