"""What an agent has left in shared memory, for comparing two of them byte by byte.

Of a store file (see platform/Slate/Layout.h) these bytes are left out, since they differ between any two
files: the random identity of the file and the superblock's checksum over it, the process id of the last
writer and of the agent, and the checksum of each slot, which begins with the identity. Programs check
those whenever they read. Everything else must be the same.
"""

import os
import struct

PAGE = 4096
ZEROES = bytes(PAGE)
SLOT_COUNT, SLOT_OFFSET = 32, 64  # offsets in the superblock; the stride is behind the count
SLOT_CHECKSUM = 16  # offset in a slot
AGENT_PROCESS = 28  # the process id in the record of an agent's run, offset in its slot
LEFT_OUT = ((88, 16), (508, 4), (PAGE + 16, 8))  # identity, checksum, writer: offset and bytes


def pages_of(path):
    """The pages that hold anything, by number."""
    pages = {}
    with open(path, "rb") as file:
        end, at = os.fstat(file.fileno()).st_size, 0
        while at < end:
            try:
                at = os.lseek(file.fileno(), at, os.SEEK_DATA) // PAGE * PAGE
            except OSError:  # nothing but a hole is left
                break
            hole = os.lseek(file.fileno(), at, os.SEEK_HOLE)
            for start in range(at, hole, PAGE):
                page = os.pread(file.fileno(), PAGE, start)
                if page != ZEROES[: len(page)]:
                    pages[start // PAGE] = bytearray(page)
            at = hole
    return end, pages


def clear(pages, offset, count):
    for at in range(offset, offset + count):
        if at // PAGE in pages:
            pages[at // PAGE][at % PAGE] = 0


def store_file(path):
    """Its length, and its pages without what is left out."""
    end, pages = pages_of(path)
    head = pages[0]
    if head[:8] != b"LOAMSLAT":
        raise ValueError(f"{path} is no store file")
    count, stride = struct.unpack_from("=II", head, SLOT_COUNT)
    (origin,) = struct.unpack_from("=Q", head, SLOT_OFFSET)
    for offset, bytes_ in LEFT_OUT:
        clear(pages, offset, bytes_)
    if path.name == "agent.slate":
        clear(pages, origin + AGENT_PROCESS, 4)
    for number in sorted(pages):
        first = max(0, (number * PAGE - origin - SLOT_CHECKSUM - 3 + stride - 1) // stride)
        for slot in range(first, count):
            at = origin + slot * stride + SLOT_CHECKSUM
            if at >= (number + 1) * PAGE:
                break
            clear(pages, at, 4)
    return end, {number: page for number, page in pages.items() if page != ZEROES[: len(page)]}


class Image:
    def __init__(self, memory):
        self.files = {}
        for path in sorted(memory.rglob("*")):
            name = str(path.relative_to(memory))
            if path.suffix == ".slate":
                self.files[name] = store_file(path)
            elif path.name == "entities":
                self.files[name] = pages_of(path)

    def differences(self, other):
        """The places that differ, as text."""
        for name in sorted(self.files.keys() | other.files.keys()):
            if name not in self.files or name not in other.files:
                yield f"{name}: only one of them has it"
                continue
            (end, pages), (other_end, other_pages) = self.files[name], other.files[name]
            if end != other_end:
                yield f"{name}: {end} and {other_end} bytes"
            for number in sorted(pages.keys() | other_pages.keys()):
                one, two = pages.get(number, ZEROES), other_pages.get(number, ZEROES)
                if one != two:
                    at = next(i for i in range(PAGE) if one[i] != two[i])
                    yield (
                        f"{name}: offset {number * PAGE + at}: "
                        f"{one[at:at + 8].hex()} and {two[at:at + 8].hex()}"
                    )

    def bytes(self):
        return sum(len(page) for _, pages in self.files.values() for page in pages.values())
