"""The manual's pictures of Wireshark.

All places are pixels: in a picture, each pixel of a window is two wide, by QT_SCALE_FACTOR.
"""

import re
import shutil
import sys
import time

from screen import PROJECT, click, press, press_in, resize, run, type_text
from wireshark import Wireshark

# Hidden are interfaces that not every machine has, and the map of the frames' colours in the
# scroll bar, which is not always drawn to the same pixel.
PREFERENCES = """\
gui.packet_list_show_minimap: FALSE
gui.qt.font_name: DejaVu Sans Mono,9,-1,5,50,0,0,0,0,0
capture.devices_hide: lan1,bluetooth-monitor,nflog,nfqueue,dbus-system,dbus-session,dpauxmon,\
sdjournal,wifidump
extcap.udpdump.port: 17754
extcap.udpdump.payload: fennix
"""
WITH_PLUGIN = (PROJECT / "scripts/with-plugins", PROJECT / "packaging/wireshark")
NO_BYTES_PANE = "gui.layout_content_3: NONE\n"
# The columns: number, time, source, destination, protocol, length, info.
COLUMNS = "column.width: %m, 45,  %t, 70,  %s, 165,  %d, 165,  %p, 100,  %L, 50,  %i, 390\n"
PUBLIC_KEY = '"5A:69:67:42:65:65:41:6C:6C:69:61:6E:63:65:30:39","Normal","Public link key"\n'
CAPTURE_TITLE = "^lamp.pcap$"


class Pictures:
    def __init__(self, folder, stage, display):
        self.folder = folder
        self.display = display
        self.wireshark = Wireshark(stage, display, WITH_PLUGIN)
        self.capture = stage / "lamp.pcap"

    def settings(self, pane, bars=True, preferences=""):
        """The height of the list of frames, and whether there are tool bars."""
        shown = str(bars).upper()
        recent = (
            f"gui.toolbar_main_show: {shown}\n"
            f"gui.filter_toolbar_show: {shown}\n"
            f"gui.statusbar_show: {shown}\n"
            f"gui.geometry_main_upper_pane: {pane}\n"
        )
        self.wireshark.configure(PREFERENCES + preferences, recent + COLUMNS)
        return recent

    def profile(self, pane, preferences="", key=""):
        """The profile as it is installed, with the same looks as the other pictures."""
        recent = self.settings(pane, True, preferences)
        profile = self.wireshark.config / "profiles/FENNIX"
        shutil.copytree(PROJECT / "packaging/wireshark/profile", profile)
        for name, text in (
            ("preferences", (self.wireshark.config / "preferences").read_text()),
            ("recent", recent),
        ):
            with open(profile / name, "a", encoding="utf-8") as file:
                file.write(text)
        if key:
            (profile / "zigbee_pc_keys").write_text(key)

    def opened(self, *arguments):
        return self.wireshark.started("-r", self.capture, *arguments, title=CAPTURE_TITLE)

    def make_capture(self, *options):
        run(str(PROJECT / "tools/screenshots/make-capture"), str(self.capture), *options)

    def path(self, name):
        return str(self.folder / f"{name}.png")

    def save(self, window, name, part=None):
        """Saves the window, or a part of it: WIDTHxHEIGHT+X+Y."""
        self.display.save(window, self.path(name))
        if part:
            run("convert", self.path(name), "-crop", part, "+repage", self.path(name))

    def draw(self, name, *drawing):
        run("convert", self.path(name), *drawing, self.path(name))

    def save_all(self):
        self.make_capture()
        self.save_interfaces()
        self.save_without_key()
        self.save_with_key()
        self.save_missing()

    def save_interfaces(self):
        name = "wireshark-interfaces"
        self.settings(245)
        with self.wireshark.started() as window:
            self.save(window, name, "1520x500+240+430")
            end = self.listener_end(name)
            self.draw(name, "-crop", f"1520x{end + 14}+0+0", "+repage")
            frame = f"roundrectangle 10,{end - 35} 520,{end + 3} 12,12"
            colours = ("-fill", "none", "-stroke", "#e0822b", "-strokewidth", "6")
            self.draw(name, *colours, "-draw", frame)
            # The gear symbol of the listener.
            click(278, 430 + end - 16)
            self.save(self.wireshark.find("Interface"), "wireshark-listener")

    def listener_end(self, name):
        """Where the last gear symbol ends, the UDP listener's, from the list's upper end."""
        gears = ("-crop", "40x500+18+0", "+repage", "-format", "%@", "info:")
        box = re.search(r"x(\d+)\+\d+\+(\d+)$", run("convert", self.path(name), *gears))
        if not box:
            sys.exit("Wireshark lists no interface with a gear symbol")
        return int(box[1]) + int(box[2])

    def save_without_key(self):
        self.profile(245)
        with self.opened("-C", "FENNIX", "-g", "12") as window:
            self.save(window, "wireshark-capture")

        self.settings(146, False, NO_BYTES_PANE)
        with self.opened("-g", "16") as window:
            # Brings the chosen frame into view.
            press_in(window, "Down", "Up")
            self.save(window, "wireshark-encrypted", "2000x490+0+0")

    def save_with_key(self):
        self.settings(215, False, NO_BYTES_PANE)
        (self.wireshark.config / "zigbee_pc_keys").write_text(PUBLIC_KEY)
        with self.opened("-g", "9") as window:
            click(600, 600)
            press_in(window, "End", "Right", "End", "Right")
            self.save(window, "wireshark-join", "2000x1040+0+0")

        self.profile(245, NO_BYTES_PANE, PUBLIC_KEY)
        with self.opened("-C", "FENNIX", "-g", "16") as window:
            click(600, 1000)
            press_in(window, "End", "Right")
            self.save(window, "wireshark-toggle")
            self.open_preferences(window, "ZigBee")
            # The button Edit... beside Pre-configured Keys.
            click(616, 162)
            self.save_keys()

    def open_preferences(self, window, protocol):
        """Opens a protocol's preferences: in the tree, typed letters look for an entry."""
        press_in(window, "ctrl+shift+p")
        preferences = self.wireshark.find("Preferences")
        resize(preferences, 1394, 760)
        press_in(preferences, *"Protoco", "Right")
        self.display.save(preferences, self.wireshark.home / "preferences.png")
        type_text(protocol)
        # Letters that come later begin another search.
        time.sleep(1)

    def save_keys(self):
        window = self.wireshark.find("Keys")
        resize(window, 1132, 360)
        self.save(window, "wireshark-keys")
        # The file's name says where the manual was built.
        name = ("-fill", "#efefef", "-draw", "rectangle 400,230 1131,275")
        self.draw("wireshark-keys", *name)

    def save_missing(self):
        """What a network that was interrupted for a moment leaves."""
        self.make_capture("--lose", "11", "11", "--lose", "17", "19")
        self.profile(245, NO_BYTES_PANE)
        with self.opened("-C", "FENNIX", "-g", "16") as window:
            click(600, 900)
            press_in(window, "Home", "Down", "Down", "Right", "Down")
            self.save(window, "wireshark-missing")
            press_in(window, "alt+t")
            # The sub-menu is the last but one, whatever else the menu has.
            press("Up", "Up", "Right", "Return", delay=300)
            summary = self.wireshark.find("captured and missing")
            resize(summary, 1240, 300)
            self.save(summary, "wireshark-summary")
