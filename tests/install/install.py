"""Installs a build, and compiles and runs a client that has nothing but the installed tree.

    python3 install.py BUILD cmake    the client finds it by find_package
    python3 install.py BUILD pc       the same client by pkg-config, after the tree was moved
"""

import os
import subprocess
import sys
import tempfile
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
CLIENT = PROJECT / "examples/client"
EXPECTED = "seen at once: 1, applied: 1\n"

# What somebody who installs this looks for.
INSTALLED = [
    "bin/loam-agent", "bin/loam-hw", "bin/loamctl", "share/man/man1/loamctl.1",
    "share/bash-completion/completions/loamctl", "lib/python3/dist-packages/loam/types.pyi",
]


def run(*command, **more):
    done = subprocess.run([str(each) for each in command], capture_output=True, text=True, check=False, **more)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: status {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def by_cmake(tree, work):
    run("cmake", "-S", CLIENT, "-B", work, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={tree}")
    run("cmake", "--build", work)
    return {}


def by_pkg_config(tree, work):
    moved = tree.parent / "moved"
    tree.rename(moved)
    files = list(moved.rglob("LoamSystemAcl.pc"))
    if len(files) != 1:
        sys.exit(f"one LoamSystemAcl.pc was expected in the installed tree, found {files}")
    flags = run("pkg-config", "--cflags", "--libs", "LoamSystemAcl",
                env={**os.environ, "PKG_CONFIG_PATH": str(files[0].parent)}).split()
    work.mkdir()
    run("c++", "-std=c++20", CLIENT / "main.cpp", "-o", work / "client", *flags)
    return {"LD_LIBRARY_PATH": str(files[0].parent.parent)}


def main(build, how):
    with tempfile.TemporaryDirectory() as folder:
        tree, work = Path(folder) / "tree", Path(folder) / "client"
        run("cmake", "--install", build, "--prefix", tree)
        absent = [each for each in INSTALLED if not (tree / each).exists()]
        if absent:
            sys.exit(f"not installed: {', '.join(absent)}")
        run(tree / "bin/loamctl", "commands")
        surroundings = {"cmake": by_cmake, "pc": by_pkg_config}[how](tree, work)
        said = run(work / "client", env={**os.environ, **surroundings})
        if said != EXPECTED:
            sys.exit(f"the client said {said!r}, expected {EXPECTED!r}")


if __name__ == "__main__":
    main(*sys.argv[1:])
