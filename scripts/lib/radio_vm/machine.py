"""One run of the virtual machine."""
import os
import shlex
import shutil
import subprocess
import tarfile
import threading

from radio_vm import image
from radio_vm.architecture import ROOT
from radio_vm.tree import Tree, compile_python

NO_RESULT = 125  # exit status when the machine brought nothing back
OURS = ("ravd", "ravd-ctl", "ravd-bus", "ravd-hostd", "ravd-sim-service", "libravd-lacking-kernel.so")
# The machine's own time goes slower than ours while it computes: how much slower under heavy load, and what it takes to
# come up and to bring the results out, in seconds.
SLOWNESS, START_AND_END = 3, 300


def relay(lines):
    """Prints the lines of a machine as they come. What its kernel says before user space only if that is not reached."""
    before = []
    for line in lines:
        text = line.decode(errors="replace").rstrip("\r\n")
        if before is None:
            if not text.endswith("reboot: Restarting system"):
                print(text, flush=True)
        elif text.startswith("radio-vm: user space"):
            print(text, flush=True)
            before = None
        else:
            before.append(text)
    print("".join(text + "\n" for text in before or []), end="")


class Machine:
    """`build`: the directory of the project's programs; `results`: where what the scenario leaves in /out goes."""

    def __init__(self, arch, build, results):
        self.arch = arch
        self.build = build
        self.results = results

    def compose(self, scenario, arguments, limit):
        """The image's part of this run: the project's programs, the scenario and its helpers. The archive's path."""
        arch = self.arch
        tree = Tree(self.results + ".tree", (*arch.debian_libraries, *arch.libraries))
        for name in OURS:
            if os.path.exists(os.path.join(self.build, name)):
                tree.program(os.path.join(self.build, name), "ravd/bin/" + name)
        for folder in ("lab", "radio"):
            shutil.copytree(os.path.join(ROOT, "scripts/lib", folder), tree.path(f"ravd/python/{folder}"),
                            ignore=shutil.ignore_patterns("__pycache__"))
        tree.add(os.path.join(ROOT, "scripts/lib/stage.py"), "ravd/python/stage.py")
        compile_python(tree.path("ravd/python"))
        tree.add(scenario, "ravd/" + os.path.basename(scenario))
        interpreter = "python3" if scenario.endswith(".py") else "sh"
        command = shlex.join([interpreter, "/ravd/" + os.path.basename(scenario), *arguments])
        with open(tree.path("ravd/run"), "w", encoding="utf-8") as file:
            # The limit within the machine is the one that still brings the logs back.
            file.write(f"export PYTHONPATH=/ravd/python\ntimeout -k 10 {limit} {command}\nstatus=$?\n"
                       f'[ $status != 143 ] || echo "radio-vm: the scenario did not end within {limit} s"\n'
                       "echo $status >/out/status\n")
        archive = self.results + ".cpio"
        tree.pack(archive)
        shutil.rmtree(tree.directory)
        return archive

    def run(self, scenario, arguments, limit):
        """Runs a scenario and prints its lines as they come. Its exit status, or NO_RESULT."""
        base = image.build(self.arch)
        os.makedirs(os.path.dirname(self.results), exist_ok=True)
        own = self.compose(scenario, arguments, limit)
        initrd = self.results + ".initrd"
        with open(initrd, "wb") as output:
            for part in (base, own):
                with open(part, "rb") as source:
                    shutil.copyfileobj(source, output)
                output.write(bytes(-output.tell() % 512))
        os.unlink(own)
        returned = self.results + ".tar"
        try:
            self.boot(initrd, returned, SLOWNESS * limit + START_AND_END)
            return self.unpack(returned)
        finally:
            for path in (initrd, returned):
                if os.path.exists(path):
                    os.unlink(path)

    def boot(self, initrd, returned, limit):
        command = [*self.arch.qemu, "-display", "none", "-vga", "none", "-no-reboot", "-nic", "none", "-monitor", "none",
                   "-chardev", "stdio,id=console,signal=off", "-serial", "chardev:console", "-serial", f"file:{returned}",
                   "-kernel", image.kernel(self.arch), "-initrd", initrd,
                   "-append", "console=ttyS0 quiet loglevel=1 panic=-1"]
        with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT) as machine:
            hung = threading.Timer(limit, machine.kill)
            hung.start()
            try:
                relay(machine.stdout)
                machine.wait()
                if not hung.is_alive():
                    print(f"radio-vm: the virtual machine did not end: killed after {limit} s", flush=True)
            finally:
                hung.cancel()
                machine.kill()

    def unpack(self, returned):
        """The exit status that came back with the files."""
        shutil.rmtree(self.results, ignore_errors=True)
        os.makedirs(self.results)
        try:
            with tarfile.open(returned, "r:") as archive:
                archive.extractall(self.results, filter="data")
            with open(os.path.join(self.results, "status"), encoding="ascii") as file:
                return int(file.read())
        except (OSError, ValueError, tarfile.TarError) as reason:
            print(f"radio-vm: the virtual machine ended without results: {reason}", flush=True)
            return NO_RESULT
