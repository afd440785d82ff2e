"""Our own rules about the sources, as far as a program can check them.

    python3 rules.py ROOT        checks the project below ROOT with every rule
    python3 rules.py ROOT RULE   with one

A rule is a function of a project's root that gives a sentence for each fault. `planted_faults.py`
shows that each rule finds what it is for.
"""

import re
import sys
from pathlib import Path

SOURCE = {".h", ".cpp"}
TEXT = SOURCE | {".md", ".txt", ".cmake", ".def", ".py", ".sh", ".json", ".yang", ".yml", ""}

# What a folder may include, itself aside; a folder may also include what those may. The platform's
# folders are listed from the bottom.
MAY_INCLUDE = {
    "platform/Pallet": [],
    "platform/Ombra": ["platform/Pallet"],
    "platform/Zet": ["platform/Ombra"],
    "platform/Inspect": ["platform/Zet"],
    "platform/RingScribe": ["platform/Zet"],
    "platform/Burrow": ["platform/Zet"],
    "platform/Orbis": ["platform/Zet"],
    "platform/Slate": ["platform/Zet"],
    "platform/ZetSharedMem": ["platform/Slate"],
    "platform/ZetSlate": ["platform/ZetSharedMem"],
    "platform/Asic": ["platform/ZetSlate", "platform/Inspect", "platform/Orbis", "platform/RingScribe", "platform/Burrow"],
    "platform/LoamSystemAclTypes": ["platform/Asic", "catalogue"],
    "catalogue": [],
    "OrderedTable": ["platform/Asic"],
    "LoamSystemAcl": ["OrderedTable", "platform/LoamSystemAclTypes"],
    "apps/policy": [],
    "apps/hw": ["platform/LoamSystemAclTypes", "apps/policy"],
    "apps/loamctl": ["platform/LoamSystemAclTypes", "apps/policy"],
    "apps/agent": ["LoamSystemAcl", "apps/policy"],
    "python": ["platform/Asic", "apps/policy"],
}

# Single headers that a lower folder may include all the same: they include nothing themselves.
EXCEPTIONS = {
    ("platform/Pallet", "Ombra/Export.h"),
    ("platform/Pallet", "Ombra/ThreadControl.h"),
}

# The catalogue is for these alone; others have the constants of a table.
CATALOGUE_USERS = {"catalogue", "LoamSystemAcl", "platform/LoamSystemAclTypes"}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)


def files(root, suffixes):
    """The project's own files with one of the suffixes, by path."""
    for path in sorted(root.rglob("*")):
        parts = path.relative_to(root).parts
        if parts[0].startswith((".git", "build")) and parts[0] != ".gitignore":
            continue
        if "__pycache__" in parts or not path.is_file() or path.suffix not in suffixes:
            continue
        yield path


def read(path):
    return path.read_text(encoding="utf-8")


def folder_of(root, path):
    """The folder of MAY_INCLUDE in which a file lies, or None."""
    parts = path.relative_to(root).parts
    for depth in (2, 1):
        folder = "/".join(parts[:depth])
        if folder in MAY_INCLUDE:
            return folder
    return None


def family_folder(header):
    """Where a header of <LoamSystemAcl/...> comes from: the plain types or the tables."""
    plain = re.search(r"(LogTypes|LogSlate|(?<!Infra)Types|XxxTable|AllTables)\.h$", header)
    return "platform/LoamSystemAclTypes" if plain else "LoamSystemAcl"


def included_folder(folder, header):
    """The folder of MAY_INCLUDE that an included header belongs to, or None if it isn't ours."""
    first = header.split("/")[0]
    if first == "LoamSystemAcl":
        return family_folder(header)
    if first == "apps":
        return "/".join(header.split("/")[:2])
    for candidate in (first, "platform/" + first):
        if candidate in MAY_INCLUDE:
            return candidate
    return None


def reachable(folder):
    seen, todo = set(), [folder]
    while todo:
        each = todo.pop()
        if each not in seen:
            seen.add(each)
            todo += MAY_INCLUDE.get(each, [])
    return seen


def includes_run_one_way(root):
    for path in files(root, SOURCE):
        folder = folder_of(root, path)
        if folder is None:
            continue
        allowed = reachable(folder)
        for bracket, header in INCLUDE.findall(read(path)):
            target = included_folder(folder, header)
            if target is None or (folder, header) in EXCEPTIONS:
                continue
            if target not in allowed:
                yield f"{path}: includes <{header}>; {folder} may not include {target}"
            elif target == "catalogue" and folder not in CATALOGUE_USERS:
                yield f"{path}: includes <{header}>; the catalogue is for {sorted(CATALOGUE_USERS)}"


def our_headers_are_included_from_an_include_root(root):
    for path in files(root, SOURCE):
        if path.relative_to(root).parts[0] in ("tests", "benchmarks"):
            continue
        for bracket, header in INCLUDE.findall(read(path)):
            if bracket == '"':
                yield f'{path}: #include "{header}"; write it as <Folder/{header}>'


def every_header_has_pragma_once(root):
    for path in files(root, {".h"}):
        if not read(path).startswith("#pragma once\n"):
            yield f'{path}: the first line is not "#pragma once"'


def every_top_level_folder_has_a_readme(root):
    for folder in sorted(root.iterdir()):
        hidden = folder.name.startswith((".", "build", "__pycache__"))
        if folder.is_dir() and not hidden and not (folder / "README.md").is_file():
            yield f"{folder}: has no README.md"


def catalogue_rows(root):
    text = read(root / "catalogue" / "SystemPolicyTables.def")
    return re.findall(r'^LOAM_TABLE\((\w+),[^"]*"[^"]*", "[^"]*", 0x([0-9a-f]{4}),', text, re.M)


def only_the_catalogue_names_a_table_with_its_identifier(root):
    rows = catalogue_rows(root)
    if not rows:
        yield f"{root}/catalogue/SystemPolicyTables.def: no row was recognised"
    for path in files(root, TEXT):
        if path.relative_to(root).parts[0] in ("catalogue", "tests"):
            continue
        for number, line in enumerate(read(path).splitlines(), 1):
            for name, identifier in rows:
                if re.search(rf"\b{name}", line) and re.search(rf"{identifier}\b", line):
                    yield f"{path}:{number}: names {name} together with its identifier"


def no_note_to_do_something_later(root):
    word = re.compile(r"\b(TO" r"DO|FIX" r"ME|HA" r"CK)\b")
    for path in files(root, TEXT):
        for number, line in enumerate(read(path).splitlines(), 1):
            if word.search(line):
                yield f"{path}:{number}: a note of what is left to do; do it, or open an issue"


def text_is_clean(root):
    for path in files(root, TEXT):
        text = read(path)
        if text and not text.endswith("\n"):
            yield f"{path}: the last line has no end"
        for number, line in enumerate(text.splitlines(), 1):
            if line != line.rstrip():
                yield f"{path}:{number}: blanks at the end of the line"
            if "\t" in line:
                yield f"{path}:{number}: a tab"


def every_test_that_a_threat_names_exists(root):
    page = root / "docs/security.md"
    if not page.exists():
        return
    known = set()
    for path in files(root / "tests", SOURCE):
        known.update(re.findall(r"^TEST(?:_[FP])?\((\w+),\s*(\w+)\)", read(path), re.MULTILINE))
    made = [("Protocol", f"{path.stem}Holds") for path in (root / "platform").rglob("*.pml")]
    targets = (root / "tests/fuzz").glob("*Target.cpp")
    made += [("Fuzz", f"{path.stem.removesuffix('Target')}BearsItsCorpus") for path in targets]
    made.append(("Tidy", "EveryTestThatAThreatNamesExists"))
    for suite, name in re.findall(r"`(\w+)\.([A-Z]\w+)`", read(page)):
        if (suite, name) not in known.union(made):
            yield f"{page}: names the test {suite}.{name}, which there is not"


RULES = [
    includes_run_one_way,
    our_headers_are_included_from_an_include_root,
    every_header_has_pragma_once,
    every_top_level_folder_has_a_readme,
    only_the_catalogue_names_a_table_with_its_identifier,
    no_note_to_do_something_later,
    text_is_clean,
    every_test_that_a_threat_names_exists,
]


def main(arguments):
    root = Path(arguments[0]).resolve()
    rules = [rule for rule in RULES if len(arguments) == 1 or rule.__name__ == arguments[1]]
    if not rules:
        sys.exit(f"rules.py: no rule {arguments[1]}; there are {[r.__name__ for r in RULES]}")
    faults = [fault for rule in rules for fault in rule(root)]
    print("\n".join(faults))
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main(sys.argv[1:])
