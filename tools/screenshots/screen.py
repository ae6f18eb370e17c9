"""A hidden screen in a network of its own, and the windows on it."""

import contextlib
import os
import pathlib
import subprocess
import sys
import time

PROJECT = pathlib.Path(__file__).resolve().parents[2]
RUN_ALONE = PROJECT / "tests/support/run-alone"

WINDOW_LIMIT_S = 60
SETTLE_LIMIT_S = 20
SETTLE_PAUSE_S = 0.5


def run(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def enter_private_world():
    """Starts this program again where it changes nothing of the machine."""
    if "FENNIX_TEST_IS_ALONE" not in os.environ:
        os.execv(RUN_ALONE, [RUN_ALONE, sys.executable, "-B", *sys.argv])


def make_network():
    """A network adapter, eth0; lan1 at its other end only gives it a carrier."""
    # Wireshark draws the traffic of each interface: here there is to be none.
    pathlib.Path("/proc/sys/net/ipv6/conf/all/disable_ipv6").write_text("1")
    run("ip", "link", "add", "eth0", "type", "veth", "peer", "name", "lan1")
    run("ip", "address", "add", "192.168.1.20/24", "broadcast", "+", "dev", "eth0")
    run("ip", "link", "set", "eth0", "up")
    run("ip", "link", "set", "lan1", "up")


@contextlib.contextmanager
def process(command, **options):
    child = subprocess.Popen(command, **options)
    try:
        yield child
    finally:
        child.terminate()
        child.wait()


class Screen:
    """An X server that nobody sees; its windows are found by a part of their titles."""

    def __init__(self, width, height, dots_per_inch):
        self.corner = (width - 1, height - 1)
        self.size = f"{width}x{height}x24"
        self.dots_per_inch = str(dots_per_inch)

    @contextlib.contextmanager
    def started(self):
        reader, writer = os.pipe()
        # Only root could make the folder of the sockets; in a network of its own, the server is
        # found without. Its number also names a file of the keyboard's map, hence a rare one.
        command = ["Xvfb", f":{os.getpid()}", "-displayfd", str(writer), "-screen", "0", self.size]
        command += ["-dpi", self.dots_per_inch, "-noreset", "-nolisten", "tcp", "-nolisten", "unix"]
        with process(command, pass_fds=[writer], stderr=subprocess.DEVNULL):
            os.close(writer)
            with os.fdopen(reader) as number:
                os.environ["DISPLAY"] = ":" + number.readline().strip()
            yield self

    def find(self, title, program):
        """The number of the program's window, which may have to be waited for."""
        end = time.monotonic() + WINDOW_LIMIT_S
        search = ["xdotool", "search", "--onlyvisible", "--name", title]
        while time.monotonic() < end and program.poll() is None:
            found = subprocess.run(search, capture_output=True, text=True, check=False)
            if found.stdout:
                return found.stdout.split()[-1]
            time.sleep(0.1)
        sys.exit(f"no window titled '{title}'")

    def save(self, window, file):
        """A picture of the window, once it has stopped changing."""
        # What the mouse rests on would light up.
        run("xdotool", "mousemove", *map(str, self.corner))
        end = time.monotonic() + SETTLE_LIMIT_S
        before = ""
        while time.monotonic() < end:
            time.sleep(SETTLE_PAUSE_S)
            run("import", "-window", window, str(file))
            now = run("identify", "-format", "%#", str(file))
            if now == before:
                return
            before = now
        sys.exit(f"the window of {file} does not come to rest")


def resize(window, width, height):
    run("xdotool", "windowsize", "--sync", window, str(width), str(height))


def click(x, y):
    run("xdotool", "mousemove", str(x), str(y), "click", "1")


def press(*keys, delay=60):
    run("xdotool", "key", "--delay", str(delay), *keys)


def press_in(window, *keys):
    run("xdotool", "windowfocus", "--sync", window)
    press(*keys)


def type_text(text, delay=30):
    run("xdotool", "type", "--delay", str(delay), text)
