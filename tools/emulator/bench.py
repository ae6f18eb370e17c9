"""What stands around the emulated computer: the radio's devices, a network, the eyes and
hands of the person in front of it."""

import os
import signal
import subprocess
import time

import frames
from guest import LIMIT, Failure, Guest, wait_until
from usb_bridge import UsbBridge

USER = "user"
SESSION_LOG = "/home/user/session.log"
ENTRY = "com.tarvos.fennix.desktop"
CAPTURE = "/home/user/capture.pcapng"

# QEMU's network: the guest, and this machine as another one.
OWN_ADDRESS = "10.0.2.15"
GATEWAY = "10.0.2.2"

# The window and what is clicked in it.
WINDOW = "^FENNIX$"
REFRESH = "refreshComButton"
CONNECT = "devConnectButton"
DISCONNECT = "devDisconnectButton"
REMOTE_ADDRESS = "remoteIpInput"
START = "OnBtn"
STOP = "OffBtn"
INSTALL_FIRMWARE = "installFwBtn"
BACK = "backBtn"
HELP_MENU = "menuBar"
MANUAL = "FENNIX-BHB-en.pdf"

# Tells whether the port of Wireshark's UDP listener is taken.
IS_LISTENING = f"grep -qi ':{frames.ZEP_PORT:X} ' /proc/net/udp /proc/net/udp6"
# The emulator for each architecture, and the port on which it has the board.
COMPUTERS = {
    "armhf": (["qemu-system-arm", "-M", "virt,highmem=off", "-cpu", "cortex-a15"], "ttyAMA0"),
    "amd64": (["qemu-system-x86_64", "-M", "q35"], "ttyS0"),
}

# This end's tshark, with the plug-in as it is here.
TSHARK = ("scripts/with-plugins", "packaging/wireshark", "tshark")
LISTENER = ("-o", f"extcap.udpdump.port:{frames.ZEP_PORT}", "-o", "extcap.udpdump.payload:fennix")


def read_places():
    """Where each widget of the window is clicked."""
    with open("tests/support/button-places", encoding="utf-8") as file:
        lines = [line.split() for line in file if not line.startswith("#")]
    return {widget: (int(x), int(y)) for widget, x, y in lines}


class Simulator:
    """Simulated devices, whose ports are links in a folder."""

    def __init__(self, program, folder, *options):
        self.ports = f"{folder}/ports"
        command = [program, "--ports", self.ports, *options, "--", "sleep", "infinity"]
        with open(f"{folder}/simulator.log", "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stderr=log, text=True)
        wait_until(lambda: os.path.exists(f"{self.ports}/ttyUSB0"), "the simulated dongle")

    def control(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def stop(self):
        self.process.terminate()
        self.process.wait()


class Bench:
    def __init__(self, options):
        self.options = options
        self.folder = options.output
        self.emulator, self.board_port = COMPUTERS[options.architecture]
        self.places = read_places()
        self.frames = self.read_frames()
        self.simulator = self.simulate("--device", f"vostrel:{self.board_port}", "--interval", "50")
        self.bridge = None
        self.guest = None
        self.captured = b""
        self.adapter_log = f"{self.folder}/adapter.log"

    def simulate(self, *options):
        return Simulator(self.options.simulator, self.folder, "--device", "mirzel", *options)

    def read_frames(self):
        simulator = self.simulate("--once", "--unthrottled")
        try:
            return frames.device_frames(f"{simulator.ports}/ttyUSB0")
        finally:
            simulator.stop()

    # The computer

    def power_on(self):
        if self.guest:
            self.guest.poweroff()
        for name in ("monitor", "agent", "usb"):
            if os.path.exists(f"{self.folder}/{name}"):
                os.remove(f"{self.folder}/{name}")
        self.guest = Guest(self.qemu_command(), self.folder)

    def qemu_command(self):
        folder, image = self.folder, self.options.image
        return [
            *("timeout", "3600", *self.emulator),
            *("-smp", "2", "-m", "1024", "-nodefaults", "-display", "none"),
            *("-kernel", f"{image}/vmlinuz", "-initrd", f"{image}/initrd.img"),
            *("-append", "root=/dev/vda rw console=tty0 console=hvc0 net.ifnames=0 quiet"),
            *("-drive", f"if=none,id=system,file={folder}/system.qcow2"),
            *("-device", "virtio-blk-pci,drive=system"),
            *("-drive", f"if=none,id=packages,format=raw,readonly=on,file={folder}/packages.img"),
            *("-device", "virtio-blk-pci,drive=packages"),
            *("-device", "virtio-gpu-pci,xres=1024,yres=768", "-device", "virtio-rng-pci"),
            *("-netdev", "user,id=network", "-device", "virtio-net-pci,netdev=network"),
            *("-qmp", f"unix:{folder}/monitor,server=on,wait=off"),
            *("-device", "virtio-serial-pci"),
            *("-chardev", f"socket,id=agent,path={folder}/agent,server=on,wait=off"),
            *("-device", "virtserialport,chardev=agent,name=org.qemu.guest_agent.0"),
            *("-chardev", f"file,id=console,path={folder}/console.log"),
            *("-device", "virtconsole,chardev=console"),
            *(
                "-chardev",
                f"serial,id=board,path={folder}/ports/{self.board_port}",
                "-serial",
                "chardev:board",
            ),
            *("-chardev", f"socket,id=usb,path={folder}/usb,server=on,wait=off"),
            *("-device", "qemu-xhci", "-device", "usb-redir,chardev=usb"),
        ]

    def stop(self):
        if self.guest:
            self.guest.stop()
        self.simulator.stop()

    # The devices

    def plug_in(self):
        if self.bridge:
            return
        if not os.path.exists(f"{self.folder}/ports/ttyUSB0"):
            self.simulator.control("plug ttyUSB0")
            wait_until(
                lambda: os.path.exists(f"{self.folder}/ports/ttyUSB0"), "the simulated dongle"
            )
        self.bridge = UsbBridge(f"{self.folder}/usb", f"{self.folder}/ports/ttyUSB0")
        wait_until(lambda: self.guest.succeeds("test -c /dev/ttyUSB0"), "/dev/ttyUSB0")
        self.guest.run("udevadm settle")

    def pull_out(self):
        if not self.bridge:
            return
        self.bridge.unplug()
        self.bridge = None
        self.simulator.control("unplug ttyUSB0")
        wait_until(
            lambda: not self.guest.succeeds("test -e /dev/ttyUSB0"), "the end of /dev/ttyUSB0"
        )

    def plug_in_adapter(self):
        """Another adapter, QEMU's own; what the guest sends to it is kept."""
        file = {"type": "file", "data": {"out": os.path.abspath(self.adapter_log)}}
        self.guest.monitor.call("chardev-add", id="adapter", backend=file)
        self.guest.monitor.call("device_add", driver="usb-serial", id="adapter", chardev="adapter")

    def offer_board(self, offered):
        """The port stays, but the board is where serial0 leads to."""
        self.guest.run(f"ln -sfn {self.board_port if offered else 'null'} /dev/serial0")

    def driver(self, port):
        return self.guest.run(f"basename $(readlink /sys/class/tty/{port}/device/driver)").strip()

    def use(self, device):
        """Has the window offer the board alone or the dongle alone, with tshark listening."""
        if device == "dongle":
            self.offer_board(False)
            self.plug_in()
        else:
            self.pull_out()
            self.offer_board(True)
        self.start_capture()
        self.disconnect()
        self.click(REFRESH)

    # The program

    def launch(self, action=""):
        """Starts the program by its desktop entry, or an action of that."""
        launch = f"launch_action('{action}', None)" if action else "launch()"
        script = (
            f"from gi.repository.Gio import DesktopAppInfo as Entry; Entry.new('{ENTRY}').{launch}"
        )
        self.guest.run(f'stdbuf -oL python3 -c "{script}" >> {SESSION_LOG} 2>&1 < /dev/null', USER)

    def window(self, name=WINDOW):
        found = self.guest.run(
            f"xdotool search --onlyvisible --name '{name}' || true", USER
        ).split()
        return found[-1] if found and found[-1].isdecimal() else ""

    def wait_for_window(self, name=WINDOW, limit=LIMIT):
        return wait_until(lambda: self.window(name), f"a window '{name}'", limit, 1)

    def log_count(self, text):
        return self.guest.run(f"cat {SESSION_LOG}").count(text)

    def wait_for_log(self, text, count):
        """Until the program has said more of this than the given count."""
        wait_until(lambda: self.log_count(text) > count, f"'{text}' in the program's log")

    def xdotool(self, actions):
        self.guest.run(f"xdotool {actions}", USER)

    def click(self, widget, actions="click 1"):
        window = self.wait_for_window()
        x, y = self.places[widget]
        self.xdotool(
            f"windowactivate --sync {window} mousemove --window {window} {x} {y} {actions}"
        )

    def connect(self):
        # On a busy machine the guest stands still for longer than the 300 ms in which a
        # device has to answer; then the user, too, presses Back and Connect.
        for _ in range(5):
            self.press_connect()
            if self.is_connected():
                return
            self.click(BACK)
        raise Failure("the device has not told its channel")

    def press_connect(self):
        connected = self.log_count(" Connected")
        self.click(CONNECT)
        self.wait_for_log(" Connected", connected)
        time.sleep(1)

    def is_connected(self):
        said = self.guest.run(f"cat {SESSION_LOG}")
        return said.rfind(" Connected") > said.rfind("Disconnected")

    def disconnect(self):
        if self.is_connected():
            self.click(DISCONNECT)
            wait_until(lambda: not self.is_connected(), "the end of the connection")

    def set_remote_address(self, address):
        self.click(REMOTE_ADDRESS, f"click 1 key ctrl+a type {address}")

    def title(self, window):
        return self.guest.run(f"xdotool getwindowname {window}", USER).strip()

    def screenshot(self, name):
        """The picture on the screen; its bytes."""
        with open(self.guest.screenshot(name), "rb") as picture:
            return picture.read()

    def finish_picture(self):
        """Waits until the picture stays: on this processor, drawing takes time."""
        pictures = [b""]

        def is_still():
            pictures.append(self.screenshot("last"))
            return pictures[-1] == pictures[-2]

        wait_until(is_still, "a picture that stays", pause=4)

    # Captures

    def start_capture(self):
        """tshark listens in the guest, by the profile of the package."""
        if self.guest.succeeds("pgrep -x tshark"):
            return
        command = f"tshark -C FENNIX -i udpdump -w {CAPTURE} > ~/tshark.log 2>&1 < /dev/null"
        self.guest.run(f"rm -f {CAPTURE}; {command} &", USER)
        self.captured = b""
        wait_until(lambda: self.guest.succeeds(IS_LISTENING), "tshark to listen")

    def stop_capture(self):
        self.guest.run(
            "pkill -INT -x tshark; while pgrep -x 'tshark|udpdump'; do sleep 0.2; done", check=False
        )

    def frames_in_wireshark(self):
        """What Wireshark has captured until now, in a file that it keeps for itself."""
        return frames.Datagrams(self.guest.read_file("/tmp/wireshark_*.pcapng"))

    def datagrams(self):
        self.captured += self.guest.read_file(CAPTURE, len(self.captured))
        return frames.Datagrams(self.captured)

    def wait_for_datagrams(self, count, since):
        """The captured datagrams behind the first ones, once there are so many."""
        wait_until(
            lambda: len(self.datagrams()) >= since + count, f"{count} datagrams in tshark", pause=1
        )
        return self.datagrams().since(since)

    def capture(self, count):
        """Presses Start, and leaves the capture on."""
        begin = len(self.datagrams())
        self.click(START)
        return self.wait_for_datagrams(count, begin)

    def dissect(self, capture=CAPTURE):
        """What the guest's tshark makes of each packet captured so far."""
        fields = "-T fields -e frame.protocols -e _ws.col.Info"
        return self.guest.run(
            f"tshark -C FENNIX -r {capture} {fields} 2> /dev/null", USER
        ).splitlines()


class Listener:
    """tshark at this end of the guest's network."""

    def __init__(self, folder):
        self.capture = f"{folder}/remote.pcapng"
        command = [*TSHARK, "-i", "udpdump", *LISTENER, "-w", self.capture]
        with open(f"{folder}/remote.log", "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(command, stdout=log, stderr=log)

    def __enter__(self):
        listening = ["sh", "-c", IS_LISTENING]
        wait_until(
            lambda: subprocess.run(listening, check=False).returncode == 0, "tshark to listen"
        )
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGINT)
        self.process.wait()

    def datagrams(self):
        with open(self.capture, "rb") as capture:
            return frames.Datagrams(capture.read())

    def dissected(self):
        """How many of them Wireshark takes for frames or acknowledgements."""
        dissected = "(wpan && !wpan.fcs.bad) || zep.type == 2"
        command = [*TSHARK, "-r", self.capture, "-Y", dissected]
        return len(subprocess.run(command, check=True, capture_output=True).stdout.splitlines())
