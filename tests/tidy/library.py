"""What the shared libraries show to the outside, read from the files themselves.

    python3 library.py LIBRARY links NAME...     it links these and the C and C++ runtime alone
    python3 library.py LIBRARY exports NAMESPACE PLATFORM
                                                 all that it shows belongs to the namespace
    python3 library.py LIBRARY section NAME WORDS
                                                 the section has this many machine words
"""

import re
import subprocess
import sys

# The C and C++ runtime, and what the sanitizers add to it.
RUNTIME = {"libc", "libm", "libgcc_s", "libstdc++", "ld-linux-x86-64", "ld-linux", "libasan", "libubsan",
           "libtsan"}


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def links(library, *allowed):
    needed = re.findall(r"\(NEEDED\).*\[([^\]]+?)\.so[^\]]*\]", run("readelf", "-dW", library))
    if not needed:
        yield f"{library} seems to link nothing; is it a shared library?"
    for name in needed:
        if name not in RUNTIME and name not in allowed:
            yield f"{library} links {name}; allowed are {', '.join(allowed)} and the runtime"
    for name in allowed:
        if name not in needed:
            yield f"{library} is expected to link {name} and doesn't"


def symbols(library, *options):
    lines = run("nm", "-D", "--defined-only", *options, library).splitlines()
    return [line.split(maxsplit=2)[1:] for line in lines]


def exports(library, namespace, platform):
    """Three kinds of symbols belong to the family: what is in its namespace; what the platform's
    templates make of its classes, their bases, which other libraries must know as the same; and weak
    copies of what the platform shows itself, which the linker makes one."""
    shown = {name for _, name in symbols(platform)}
    plain = [name for _, name in symbols(library)]
    readable = [name for _, name in symbols(library, "-C")]
    own = re.compile(
        r"^((non-virtual|virtual) thunk to |(vtable|typeinfo|typeinfo name|VTT|guard variable) for )?"
        + rf"({namespace}::|(Zet|Asic)::\w+<{namespace}::)"
    )
    if not any(own.match(name) for name in readable):
        yield f"{library} exports nothing of {namespace}"
    for mangled, name in zip(plain, readable, strict=True):
        if not own.match(name) and mangled not in shown:
            yield f"{library} exports {name}"


def section(library, name, words):
    sizes = re.findall(
        rf"\s{re.escape(name)}\s+PROGBITS\s+[0-9a-f]+\s+[0-9a-f]+\s+([0-9a-f]+)\s",
        run("readelf", "-SW", library),
    )
    bits = re.search(r"Class:\s+ELF(32|64)", run("readelf", "-hW", library))
    size = int(sizes[0], 16) if sizes else 0
    expected = int(words) * int(bits.group(1)) // 8
    if size != expected:
        yield f"section {name} of {library} has {size} bytes, expected {expected}"


def main(library, check, *arguments):
    faults = list({"links": links, "exports": exports, "section": section}[check](library, *arguments))
    print("\n".join(faults))
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
