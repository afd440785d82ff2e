"""Compiles sources one by one without producing anything, as the build would, but by clang.

    python3 compile.py headers BUILD    each header alone: it includes all that it needs
    python3 compile.py sources BUILD    the sources of the libraries: the second compiler takes them
    python3 compile.py words32 BUILD    words32.cpp, as for a 32-bit process, by the first compiler

BUILD is a build folder with compile_commands.json. Of the family that is written out from the pattern
files, one member is compiled: the others are equal but for their names.
"""

import json
import os
import re
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

MEMBER = "Ipv4SystemPolicyTcamEntry"
PROJECT = Path(__file__).resolve().parents[2]
GENERATED = re.compile(r"/generated/(.*/)?[^/]*$")
TOGETHER = re.compile(r"/Unity/[^/]*$")  # several sources of a table, each of which is there as well
GCC_ONLY = re.compile(r"^-(fsanitize|fno-sanitize|fno-omit-frame-pointer|Winvalid-pch|g\d?$|O\d?$)")


def flags_of(command):
    """What a compile command says about language, includes and warnings."""
    words = shlex.split(command)
    start = next(i for i, word in enumerate(words) if word.startswith("-"))
    flags, rest = [], iter(words[start:])
    for word in rest:
        if word in ("-o", "-c", "-MF", "-MT", "-include"):  # the last names a precompiled header
            next(rest)
        elif word == "-isystem":
            flags += [word, next(rest)]
        elif not word.startswith("-M") and not GCC_ONLY.match(word):
            flags.append(word)
    return flags


def commands(build):
    """Flags by source, of the project's own libraries and programs."""
    entries = json.loads((build / "compile_commands.json").read_text())
    found = {}
    for entry in entries:
        source = entry["file"]
        if source.startswith((f"{PROJECT}/tests/", f"{PROJECT}/benchmarks/")):
            continue
        if TOGETHER.search(source) or (GENERATED.search(source) and MEMBER not in source):
            continue
        found[source] = flags_of(entry["command"])
    if not any(source.endswith(f"/{MEMBER}SwTable.cpp") for source in found):
        sys.exit(f"compile.py: {build} compiles no source of {MEMBER} by itself")
    return found


def libraries(build):
    """Flags by source, of the libraries alone."""
    programs = f"{PROJECT}/apps/"
    return {
        source: flags
        for source, flags in commands(build).items()
        if not source.startswith(programs) and "/generated/apps/" not in source
    }


def headers(build):
    """Flags by header: those of a source that sees everything that the project uses."""
    everything = []
    for flags in commands(build).values():
        everything += [flag for flag in flags if flag not in everything or flag == "-isystem"]
    wanted = []
    for folder in ("platform", "OrderedTable", "LoamSystemAcl", "catalogue", "apps", "python"):
        wanted += (PROJECT / folder).rglob("*.h")
    wanted = [path for path in wanted if not is_pattern(path)]
    wanted += (build / "generated").rglob(f"*{MEMBER}*.h")
    wanted += (build / "generated").rglob("All*.h")
    return {str(path): paired(everything) for path in wanted}


def words32(build):
    """Flags of the one source that asserts what a 32-bit process has."""
    flags = next(f for source, f in libraries(build).items() if f"{MEMBER}SwTable.cpp" in source)
    return {str(PROJECT / "tests/tidy/words32.cpp"): [*flags, "-m32"]}


def is_pattern(path):
    """Whether a header is one that the family's are written out from."""
    return "Xxx" in path.name or "Xxx" in re.sub(r"//.*", "", path.read_text())


def paired(flags):
    """Drops what is said twice, and each -isystem that has lost its folder."""
    result, rest = [], iter(flags)
    for flag in rest:
        if flag == "-isystem":
            folder = next(rest, "-")
            if not folder.startswith("-"):
                result += [flag, folder]
        else:
            result.append(flag)
    return result


def compile_one(item):
    source, flags = item
    if "-m32" in flags:
        command = ["g++", "-fsyntax-only", *flags, "-Werror"]
    else:
        command = ["clang++", "-fsyntax-only", *flags, "-Werror", "-Wno-pragma-once-outside-header"]
    done = subprocess.run(
        [*command, "-x", "c++", source], capture_output=True, text=True, check=False
    )
    return source, done.returncode, done.stderr


def main(what, build):
    choice = {"headers": headers, "sources": libraries, "words32": words32}
    wanted = choice[what](Path(build).resolve())
    if not wanted:
        sys.exit(f"compile.py: no {what} in {build}")
    with ThreadPoolExecutor(max_workers=os.cpu_count()) as pool:
        results = list(pool.map(compile_one, wanted.items()))
    failed = [result for result in results if result[1] != 0]
    for source, _, text in failed:
        print(f"--- {source}\n{text}")
    print(f"{len(results) - len(failed)} of {len(results)} {what} compile.")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
