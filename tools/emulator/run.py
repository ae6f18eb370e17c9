"""Plays scenarios on the emulated computer, and says of each whether it passed."""

import argparse
import contextlib
import sys
import time

from bench import Bench
from guest import Failure
from scenarios import SCENARIOS

# These start the computer and install the packages, for all others.
NEEDED = ("install", "power-on")


def parse_options():
    parser = argparse.ArgumentParser()
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--architecture", default="armhf")
    parser.add_argument("--image", help="the folder of the system's disk and kernel")
    parser.add_argument("--output", help="the folder for pictures and logs")
    parser.add_argument("--simulator", help="the program that plays the devices")
    parser.add_argument("scenarios", nargs="*")
    options = parser.parse_args()
    for name in options.scenarios:
        if name not in SCENARIOS:
            parser.error(f"no scenario '{name}'; there are {', '.join(SCENARIOS)}")
    return options


def play(name, bench):
    """Whether the scenario passed; its last picture is kept."""
    begin = time.monotonic()
    scenario = SCENARIOS[name]
    try:
        outcome, remark = "pass", scenario(bench)
    except Exception as failure:  # Whatever happens in one scenario, the others are played.
        outcome, remark = "FAIL", f"{type(failure).__name__}: {failure}"
        if bench.bridge and bench.bridge.lost:
            remark += f" (the guest has left {bench.bridge.lost} bytes unread)"
    with contextlib.suppress(Failure, OSError):
        bench.screenshot(name)
    seconds = time.monotonic() - begin
    print(f"{outcome}  {seconds:4.0f} s  {name:13} {scenario.__doc__}: {remark}", flush=True)
    return outcome == "pass"


def play_all(names, bench):
    """How many passed; if the computer does not run, the rest is not tried."""
    passed = 0
    for name in names:
        if play(name, bench):
            passed += 1
        elif name in NEEDED:
            break
    return passed


def main():
    options = parse_options()
    if options.list:
        for name, scenario in SCENARIOS.items():
            print(f"{name:13} {scenario.__doc__}")
        return 0

    wanted = options.scenarios or SCENARIOS
    chosen = [name for name in SCENARIOS if name in wanted or name in NEEDED]
    bench = Bench(options)
    try:
        passed = play_all(chosen, bench)
    finally:
        bench.stop()
    print(f"{passed} of {len(chosen)} scenarios passed")
    return 0 if passed == len(chosen) else 1


if __name__ == "__main__":
    sys.exit(main())
