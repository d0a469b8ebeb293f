"""What the agents took until now."""
from lab import usage


def show(place):
    with open("/proc/uptime", encoding="ascii") as file:
        now = float(file.read().split()[0])
    print()
    for ap in place.aps:
        for program in (ap.agent, ap.hostd):
            pid = program.process.pid
            with open(f"/proc/{pid}/stat", encoding="ascii") as file:
                age = now - int(file.read().rsplit(")", 1)[1].split()[19]) / 100
            print(f"    measured: {program.name}: {usage.status(pid, 'VmRSS')} kB resident (at most "
                  f"{usage.status(pid, 'VmHWM')}), {usage.cpu_fine_s(pid):.2f} s of CPU in {age:.0f} s", flush=True)
