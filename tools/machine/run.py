"""Plays scenarios on the emulated computer, and says of each whether it passed."""

import argparse
import sys
import time

from bench import Bench
from guest import Failure
from scenarios import SCENARIOS


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
    """Whether the scenario passed."""
    begin = time.monotonic()
    scenario = SCENARIOS[name]
    try:
        outcome, remark = "pass", scenario(bench)
    except (Failure, OSError, ValueError) as failure:
        outcome, remark = "FAIL", str(failure)
    bench.screenshot(name)
    seconds = time.monotonic() - begin
    print(f"{outcome}  {seconds:4.0f} s  {name:13} {scenario.__doc__}: {remark}", flush=True)
    return outcome == "pass"


def main():
    options = parse_options()
    if options.list:
        for name, scenario in SCENARIOS.items():
            print(f"{name:13} {scenario.__doc__}")
        return 0

    # The others need a machine that runs and has the packages.
    always = [name for name in ("install", "power-on") if name not in options.scenarios]
    chosen = always + options.scenarios if options.scenarios else list(SCENARIOS)
    bench = Bench(options)
    try:
        passed = [play(name, bench) for name in chosen]
    finally:
        bench.stop()
    print(f"{sum(passed)} of {len(passed)} scenarios passed")
    return 0 if all(passed) else 1


if __name__ == "__main__":
    sys.exit(main())
