"""A tree of files that becomes an initial RAM disk."""
import os
import re
import shutil
import subprocess


class Tree:
    """`libraries`: directories to look for shared libraries in, first come first served."""

    def __init__(self, directory, libraries):
        shutil.rmtree(directory, ignore_errors=True)
        os.makedirs(directory)
        self.directory = directory
        self.libraries = libraries

    def path(self, name):
        """Of a file of the tree, whose directory is there afterwards."""
        path = os.path.join(self.directory, name.lstrip("/"))
        os.makedirs(os.path.dirname(path), exist_ok=True)
        return path

    def add(self, source, name):
        """A copy of a file, or of what a link leads to."""
        shutil.copy2(os.path.realpath(source), self.path(name))

    def program(self, source, name):
        """A program or library of its own with all libraries that it needs."""
        self.add(source, name)
        self.complete(source)

    def complete(self, source):
        """Adds the libraries that an ELF file needs, and what those need."""
        shown = subprocess.run(["readelf", "-dl", source], capture_output=True, text=True, check=True).stdout
        wanted = re.findall(r"\(NEEDED\).*\[(.+)\]", shown) + re.findall(r"program interpreter: .*/([^/\]]+)\]", shown)
        for name in wanted:
            if os.path.exists(self.path(f"lib/{name}")):
                continue
            found = next((path for path in (os.path.join(directory, name) for directory in self.libraries)
                          if os.path.exists(path)), None)
            if not found:
                raise FileNotFoundError(f"{source} needs {name}, which is in none of {', '.join(self.libraries)}")
            self.add(found, f"lib/{name}")
            self.complete(found)

    def pack(self, archive):
        """Writes the tree as an archive that a kernel unpacks; uncompressed, since emulated processors are slow."""
        names = [os.path.relpath(os.path.join(directory, one), self.directory)
                 for directory, folders, files in os.walk(self.directory) for one in folders + files]
        with open(archive + ".new", "wb") as output:
            subprocess.run(["cpio", "--quiet", "--create", "--format=newc", "--owner=0:0"], cwd=self.directory,
                           input="\n".join(sorted(names)).encode(), stdout=output, check=True)
        os.replace(archive + ".new", archive)


def compile_python(directory):
    """Byte code beside the sources, for a machine that would take seconds to make it."""
    subprocess.run(["python3", "-m", "compileall", "-q", "--invalidation-mode", "unchecked-hash", "-s", directory,
                    directory], check=True)
