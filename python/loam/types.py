"""The library's classes by name, for annotations and isinstance.

    from loam.types import Ipv4SystemPolicyTcamEntrySwTable

A class within another has an underscore for the colons between their names. The stubs beside this file
say what each has.
"""

from ._classes import classes, find, python_name


def __getattr__(name):
    for each in classes():
        if python_name(each) == name or python_name(each.rpartition("::")[2]) == name:
            return find(each)
    raise AttributeError(f"there is no class {name}; loam.classes() lists those there are")


def __dir__():
    return sorted(python_name(each) for each in classes())
