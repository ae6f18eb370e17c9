"""The emulated computer: QEMU, and commands to it and to the system in it."""

import base64
import contextlib
import json
import os
import shlex
import socket
import subprocess
import time


# Seconds, generous: an emulated processor on a busy machine is slow.
LIMIT = 120

# What the programs of the user's session have in their environment.
SESSION = (
    "HOME=/home/user DISPLAY=:0 XAUTHORITY=/home/user/.Xauthority XDG_RUNTIME_DIR=/run/user/1000"
)


class Failure(Exception):
    """What a scenario waited for has not come."""


def wait_until(condition, what, limit=LIMIT, pause=0.2):
    """Calls until the result is true, and returns that."""
    end = time.monotonic() + limit
    while not (result := condition()):
        if time.monotonic() > end:
            raise Failure(f"waited {limit} s in vain for {what}")
        time.sleep(pause)
    return result


class JsonLine:
    """Commands and answers in JSON, a line each: to QEMU itself or to the agent in the guest."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        wait_until(lambda: self.socket.connect_ex(path) == 0, f"a socket at {path}", 30)
        self.received = b""

    def close(self):
        self.socket.close()

    def read(self, limit=LIMIT):
        self.socket.settimeout(limit)
        while b"\n" not in self.received:
            chunk = self.socket.recv(1 << 20)
            if not chunk:
                raise Failure("the emulated computer has ended")
            self.received += chunk
        line, self.received = self.received.split(b"\n", 1)
        # The agent begins an answer to a new listener with this byte.
        return json.loads(line.lstrip(b"\xff"))

    def send(self, command, **arguments):
        line = json.dumps({"execute": command, "arguments": arguments})
        self.socket.sendall(line.encode() + b"\n")

    def call(self, command, **arguments):
        self.send(command, **arguments)
        while "event" in (answer := self.read()):
            pass
        if "error" in answer:
            raise Failure(f"{command}: {answer['error']['desc']}")
        return answer["return"]


class Guest:
    """A running emulated computer; poweroff() or stop() ends it."""

    def __init__(self, command, folder):
        self.folder = folder
        self.started = time.monotonic()
        self.process = subprocess.Popen(command)
        self.monitor = JsonLine(f"{folder}/monitor")
        self.monitor.read()
        self.monitor.call("qmp_capabilities")
        self.agent = JsonLine(f"{folder}/agent")

    def wait_for_agent(self, limit=600):
        wait_until(self.agent_answers, "the guest's agent", limit, 0)

    def agent_answers(self):
        number = time.monotonic_ns() & 0x7FFFFFFF
        self.agent.send("guest-sync", id=number)
        try:
            while self.agent.read(3).get("return") != number:
                pass
            return True
        except TimeoutError:
            return False

    def run(self, command, user="root", check=True, limit=LIMIT):
        """The output of a shell's command in the guest, errors included."""
        script = f"exec 2>&1; {command}"
        if user != "root":
            script = f"exec runuser -u {user} -- env {SESSION} sh -c {shlex.quote(script)}"
        started = self.agent.call(
            "guest-exec",
            **{"path": "/bin/sh", "arg": ["-c", script], "capture-output": True},
        )
        state = wait_until(
            lambda: self.exec_result(started["pid"]), f"the end of '{command}'", limit, 0.05
        )
        output = base64.b64decode(state.get("out-data", "")).decode(errors="replace")
        if check and state.get("exitcode") != 0:
            raise Failure(f"'{command}' has failed in the guest: {output.strip()[-500:]}")
        return output

    def exec_result(self, pid):
        state = self.agent.call("guest-exec-status", pid=pid)
        return state if state["exited"] else None

    def succeeds(self, command, user="root"):
        return self.run(f"if {command}; then echo yes; fi", user, False).endswith("yes\n")

    def read_file(self, path, offset=0):
        encoded = self.run(f"tail -c +{offset + 1} {path} | base64 -w 0")
        return base64.b64decode(encoded)

    def screenshot(self, name):
        path = f"{self.folder}/{name}.png"
        self.monitor.call("screendump", filename=os.path.abspath(path), format="png")
        return path

    def poweroff(self):
        self.run("systemctl poweroff --no-block")
        self.process.wait(120)

    def stop(self):
        """As if the plug were pulled."""
        with contextlib.suppress(OSError):
            self.monitor.send("quit")
        self.process.wait(LIMIT)
