"""Wireshark as a new user sees it."""

import contextlib
import os
import shutil

import screen

CONFIG = ".config/wireshark"
TITLE = "^The Wireshark Network"
# Root, also that of a namespace, would be warned.
COMMON = """\
privs.warn_if_elevated: FALSE
gui.geometry_main_x: 0
gui.geometry_main_y: 0
gui.geometry_main_width: 1000
gui.geometry_main_height: 640
"""


class Wireshark:
    """A user's Wireshark; while it is started, its windows are on the screen."""

    def __init__(self, home, display, launcher=()):
        self.launcher = launcher
        self.home = home
        self.config = home / CONFIG
        self.display = display
        self.process = None

    def configure(self, preferences, recent=""):
        """The settings of a user who starts it for the first time."""
        shutil.rmtree(self.config, ignore_errors=True)
        self.config.mkdir(parents=True)
        (self.config / "preferences").write_text("gui.update.enabled: FALSE\n" + preferences)
        (self.config / "recent_common").write_text(COMMON)
        (self.config / "recent").write_text(recent)

    @contextlib.contextmanager
    def started(self, *arguments, title=TITLE):
        """Yields its main window."""
        command = [*self.launcher, "wireshark", *arguments]
        environment = {**os.environ, "HOME": str(self.home), "XDG_RUNTIME_DIR": str(self.home)}
        with open(self.home / "wireshark.log", "w", encoding="utf-8") as log:
            with screen.process(command, env=environment, stdout=log, stderr=log) as self.process:
                yield self.find(title)

    def find(self, title):
        return self.display.find(title, self.process)
