"""Entry of scripts/radio-vm."""
import argparse
import glob
import os
import signal
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

from radio_vm.architecture import ARCHITECTURES, ROOT  # noqa: E402
from radio_vm.machine import Machine  # noqa: E402

SCENARIOS = os.path.join(ROOT, "tests", "radio")
TAIL, FOREIGN_TAIL = 40, 8  # lines of each log that a failure shows: of our programs, of others


def options():
    parser = argparse.ArgumentParser(prog="radio-vm", description="Runs a scenario in a virtual machine that has radios "
                                     "of mainline Linux: real kernel, hostapd and wpa_supplicant.")
    parser.add_argument("--arch", choices=ARCHITECTURES, default="x86_64")
    parser.add_argument("--build", help="directory of the project's programs (default: the release or mipsel build)")
    parser.add_argument("--limit", type=int, default=300, help="seconds of the machine's own time that the scenario may take (default: 300)")
    parser.add_argument("--results", help="directory that gets what the scenario leaves in /out, the logs of all its "
                        "programs among it (default: build/radio/ARCH/results/SCENARIO)")
    parser.add_argument("scenario", help="name of a file of tests/radio, without its ending, or a path")
    parser.add_argument("arguments", nargs=argparse.REMAINDER, help="handed on to the scenario")
    return parser.parse_args()


def find(name):
    for path in (name, *(os.path.join(SCENARIOS, name + ending) for ending in (".py", ".sh"))):
        if os.path.isfile(path):
            return path
    known = sorted(os.path.splitext(one)[0] for one in os.listdir(SCENARIOS) if one.endswith((".py", ".sh")))
    sys.exit(f"radio-vm: no scenario {name}; there are {', '.join(known)}")


def show_logs(results):
    for path in sorted(glob.glob(os.path.join(results, "*.log"))):
        with open(path, encoding="utf-8", errors="replace") as file:
            lines = file.read().splitlines()
        name = os.path.basename(path)
        shown = lines[-TAIL if "ravd" in name or name == "service.log" else -FOREIGN_TAIL:]
        print("\n".join([f"--- {name}, the last {len(shown)} of {len(lines)} lines", *(line[:250] for line in shown)]))


def main():
    given = options()
    arch = ARCHITECTURES[given.arch]
    scenario = find(given.scenario)
    name = os.path.splitext(os.path.basename(scenario))[0]
    build = os.path.abspath(given.build or os.path.join(ROOT, "build", arch.preset))
    results = os.path.abspath(given.results or os.path.join(arch.directory, "results", name))
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))  # so that the machine ends, too
    began = time.monotonic()
    status = Machine(arch, build, results).run(scenario, given.arguments, given.limit)
    if status:
        show_logs(results)
    print(f"radio-vm: {name} on {arch.name}: {'passed' if status == 0 else f'FAILED with status {status}'} after "
          f"{time.monotonic() - began:.0f} s; its files are in {os.path.relpath(results, ROOT)}")
    return status


if __name__ == "__main__":
    sys.exit(main())
