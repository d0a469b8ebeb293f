"""The part of the image that stays: kernel, its modules, Debian's programs. Built once, kept below build/radio."""
import glob
import hashlib
import os
import shutil
import subprocess

from radio_vm.architecture import ROOT
from radio_vm.tree import Tree, compile_python

PACKAGES = ("busybox-static", "hostapd", "wpasupplicant", "iw", "iproute2", "iputils-ping", "wireless-regdb",
            "python3-minimal", "libpython3-stdlib")
PROGRAMS = ("usr/sbin/hostapd", "usr/sbin/hostapd_cli", "sbin/wpa_supplicant", "sbin/wpa_cli", "sbin/iw", "bin/ip",
            "bin/ping", "usr/bin/python3.11")
# Without the ciphers hostapd and wpa_supplicant fail when they set a key.
MODULES = ("mac80211_hwsim", "ccm", "ctr", "gcm", "cmac", "veth", "bridge")
# What scenarios never import, and extensions that would bring large libraries.
UNUSED_PYTHON = ("config-3*", "distutils", "ensurepip", "idlelib", "lib2to3", "pydoc_data", "sqlite3", "tkinter", "test",
                 "turtledemo", "unittest", "__pycache__")
UNUSED_EXTENSIONS = ("_ssl", "_sqlite3", "_curses", "_dbm", "_codecs_", "_tkinter", "readline", "nis", "_test", "_xxtest")


def fetch(arch):
    """Debian's packages, downloaded once."""
    complete = os.path.join(arch.directory, "packages.complete")
    wanted = " ".join((arch.kernel_package, *PACKAGES))
    if os.path.exists(complete) and open(complete, encoding="utf-8").read() == wanted:
        return
    print(f"radio-vm: fetching Debian's packages for {arch.name}", flush=True)
    if os.path.exists(complete):
        os.unlink(complete)
    state = os.path.join(arch.directory, "apt")
    subprocess.run([os.path.join(ROOT, "scripts/lib/debian-packages"), arch.debian, state, arch.packages,
                    *wanted.split()], check=True)
    shutil.rmtree(state)
    with open(complete, "w", encoding="utf-8") as file:
        file.write(wanted)


def release(arch):
    """The kernel's."""
    return os.listdir(os.path.join(arch.packages, "lib/modules"))[0]


def kernel(arch):
    return os.path.join(arch.packages, "boot", "vmlinuz-" + release(arch))


def add_modules(tree, arch):
    version = release(arch)
    subprocess.run(["depmod", "-b", arch.packages, version], check=True)
    for module in MODULES:
        shown = subprocess.run(["modprobe", "-d", arch.packages, "-S", version, "--show-depends", module],
                               capture_output=True, text=True, check=True).stdout
        for line in shown.splitlines():
            if line.startswith("insmod "):
                path = line.split()[1]
                tree.add(path, os.path.relpath(path, arch.packages))
    for name in ("modules.builtin", "modules.builtin.modinfo", "modules.order"):
        tree.add(os.path.join(arch.packages, "lib/modules", version, name), f"lib/modules/{version}/{name}")
    subprocess.run(["depmod", "-b", tree.directory, version], check=True)


def add_python(tree, arch):
    source = os.path.join(arch.packages, "usr/lib/python3.11")
    target = tree.path("usr/lib/python3.11")
    shutil.copytree(source, target, ignore=shutil.ignore_patterns(*UNUSED_PYTHON))
    for path in glob.glob(target + "/lib-dynload/*.so"):
        if os.path.basename(path).startswith(UNUSED_EXTENSIONS):
            os.unlink(path)
        else:
            tree.complete(path)
    compile_python(target)


def build(arch):
    """The path of the image's lasting part."""
    fetch(arch)
    recipe = hashlib.sha256()
    for name in ("image.py", "tree.py", "init"):
        with open(os.path.join(os.path.dirname(__file__), name), "rb") as file:
            recipe.update(file.read())
    archive = os.path.join(arch.directory, f"base-{recipe.hexdigest()[:16]}.cpio")
    if os.path.exists(archive):
        return archive
    for old in glob.glob(os.path.join(arch.directory, "base-*")):
        os.unlink(old)
    print(f"radio-vm: building the image for {arch.name}", flush=True)
    tree = Tree(os.path.join(arch.directory, "base"), arch.debian_libraries)
    tree.program(os.path.join(arch.packages, "bin/busybox"), "bin/busybox")
    for name in PROGRAMS:
        tree.program(os.path.join(arch.packages, name), "bin/" + os.path.basename(name))
    os.symlink("python3.11", tree.path("bin/python3"))
    os.symlink("lib", tree.path("lib64"))  # where programs of x86_64 look for the loader
    for name in ("regulatory.db", "regulatory.db.p7s"):
        tree.add(os.path.join(arch.packages, f"lib/firmware/{name}-debian"), f"lib/firmware/{name}")
    add_modules(tree, arch)
    add_python(tree, arch)
    tree.add(os.path.join(os.path.dirname(__file__), "init"), "init")
    tree.pack(archive)
    shutil.rmtree(tree.directory)
    return archive
