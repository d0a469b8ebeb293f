"""What the daemons of access points took until now."""
from lab.usage import cpu_fine_s, status


def show(*aps):
    with open("/proc/uptime", encoding="ascii") as file:
        now = float(file.read().split()[0])
    print()
    for ap in aps:
        for program in (ap.agent, ap.hostd):
            pid = program.process.pid
            with open(f"/proc/{pid}/stat", encoding="ascii") as file:
                age = now - int(file.read().rsplit(")", 1)[1].split()[19]) / 100
            print(f"    measured: {program.name}: {status(pid, 'VmRSS')} kB resident (at most "
                  f"{status(pid, 'VmHWM')}), {cpu_fine_s(pid):.2f} s of CPU in {age:.0f} s", flush=True)
