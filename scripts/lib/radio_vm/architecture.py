"""The processors that the virtual machine comes with."""
import os
from dataclasses import dataclass

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))


# Time within the machine goes by its instructions, 2 ns each, and jumps ahead while it rests. So a host under load makes
# a run longer, but no time limit within it shorter, and waiting costs nothing.
BY_INSTRUCTIONS = ("-icount", "shift=1,sleep=off", "-rtc", "clock=vm")
# malta rests in the host's time: jumping ahead, qemu leaves out an interrupt of its timer, runs on over the whole round of
# the counter and hangs. 8 ns are more than a step of that counter: with less the kernel finds the timer unusable and takes
# one that costs several accesses to slow ports each time. The clock chip goes along: the kernel measures its processor by it.
RESTING = ("-icount", "shift=3,sleep=on", "-rtc", "clock=vm")


@dataclass(frozen=True)
class Architecture:
    name: str
    debian: str  # its name in Debian
    triplet: str  # of its library directories
    kernel_package: str
    preset: str  # that builds the project's programs for it
    libraries: tuple  # directories of libraries that the project's programs need and Debian's do not
    qemu: tuple

    @property
    def directory(self):
        """Of the cached parts of its image."""
        return os.path.join(ROOT, "build", "radio", self.name)

    @property
    def debian_libraries(self):
        """The same for Debian's programs."""
        return tuple(os.path.join(self.packages, folder) for folder in ("lib/" + self.triplet, "usr/lib/" + self.triplet, "lib"))

    @property
    def packages(self):
        """The root that Debian's packages are unpacked in."""
        return os.path.join(self.directory, "packages")


# Never kvm: it was seen to hang in machines that are virtual themselves.
ARCHITECTURES = {one.name: one for one in (
    Architecture("x86_64", "amd64", "x86_64-linux-gnu", "linux-image-amd64", "release",
                 ("/lib/x86_64-linux-gnu", "/usr/lib/x86_64-linux-gnu"),
                 ("qemu-system-x86_64", "-accel", "tcg,thread=single", "-cpu", "max", *BY_INSTRUCTIONS, "-m", "512")),
    Architecture("mipsel", "mipsel", "mipsel-linux-gnu", "linux-image-4kc-malta", "mipsel",
                 (*(f"{ROOT}/build/mipsel-sysroot/{folder}/mipsel-linux-gnu" for folder in ("lib", "usr/lib")),
                  "/usr/mipsel-linux-gnu/lib"),
                 # Debian's programs use the floating-point unit; without one the kernel imitates each of its instructions.
                 ("qemu-system-mipsel", "-accel", "tcg,thread=single", "-M", "malta", "-cpu", "24Kf", *RESTING, "-m", "512")))}
