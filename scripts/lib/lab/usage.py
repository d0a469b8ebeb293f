"""What a running process takes, read from /proc."""
import os


def memory_kb(pid):
    """Rss, Pss and Private_Dirty in kB."""
    wanted = {"Rss": 0, "Pss": 0, "Private_Dirty": 0}
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as file:
        for line in file:
            name = line.split(":")[0]
            if name in wanted:
                wanted[name] = int(line.split()[1])
    return wanted


def status(pid, row):
    """A number of /proc/PID/status, such as VmHWM in kB, or Threads."""
    with open(f"/proc/{pid}/status", encoding="utf-8") as file:
        return next(int(line.split()[1]) for line in file if line.startswith(row + ":"))


def descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


def cpu_s(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def cpu_fine_s(pid):
    """The same over all its living threads, to the nanosecond."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/schedstat", encoding="ascii") as file:
            total += int(file.read().split()[0])
    return total / 1e9


def wake_ups(pid):
    """Voluntary context switches of all its threads."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/status", encoding="ascii") as file:
            total += sum(int(line.split()[1]) for line in file if line.startswith("voluntary_ctxt_switches"))
    return total
