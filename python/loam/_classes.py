"""Python classes, made from what the library's classes say of themselves."""

from . import _loam
from ._views import VIEWS


def _doc(attribute):
    access = "read only" if attribute.read_only else "writable"
    return f"{attribute.doc}\n\n{attribute.kind} of {attribute.type}, {access}, number {attribute.number}"


def _operation(attribute):
    if not attribute.of_class:
        return _loam.operation(attribute)

    def call(cls, *arguments):
        return _loam.find_class(cls.__loam_name__).call(attribute.name, *arguments)

    call.__name__ = attribute.name
    call.__doc__ = f"{attribute.signature}\n\n{attribute.doc}"
    return classmethod(call)


def _view(attribute, view):
    return property(lambda self: view(self, attribute), doc=_doc(attribute))


def _value(attribute):
    deleter = None

    # A property without one would raise the interpreter's own error, which does not say why.
    def setter(self, value):
        _loam.set(self, attribute, value)

    if attribute.kind == "constructed pointer":
        def deleter(self):
            _loam.clear(self, attribute)

    return property(lambda self: _loam.get(self, attribute), setter, deleter, _doc(attribute))


def _member(attribute):
    if attribute.kind == "operation":
        return _operation(attribute)
    if attribute.kind in VIEWS:
        return _view(attribute, VIEWS[attribute.kind])
    return _value(attribute)


def _unknown(self, name):
    """Called for a name that neither class nor object has: the library says which there are."""
    if name.startswith("__"):
        raise AttributeError(name)
    return _loam.attribute(self, name)


def _unknown_is(self, name, value):
    if not hasattr(type(self), name):
        _loam.attribute(self, name)
    object.__setattr__(self, name, value)


def _make(described):
    base = _loam.Object if described.base is None else _loam.python_class(described.base)
    members = {
        "__doc__": described.doc,
        "__slots__": (),
        "__module__": "loam",
        "__qualname__": described.name.replace("::", "."),
        "__loam_name__": described.name,
        "__getattr__": _unknown,
        "__setattr__": _unknown_is,
    }
    for attribute in described.own_attributes:
        member = _member(attribute)
        members[attribute.name] = member
        if attribute.other_name:
            members[attribute.other_name] = member
    return type(described.name.rpartition("::")[2], (base,), members)


_loam.class_maker_is(_make)


def find(name):
    """The class of that name, with or without its namespace. Raises UnknownClass with those there are."""
    return _loam.python_class(_loam.find_class(name))


def python_name(name):
    """How Python calls the class of that name, in loam.types."""
    return name.replace("::", "_")


def classes():
    """The names of all classes, in the order in which their modules were announced."""
    return [described.name for described in _loam.all_classes()]


def record(type_name, key, fields):
    """A record, such as an entry, from its key's number and the bytes behind the key."""
    return _loam.record(type_name, key, fields)


def parse(type_name, text):
    """A plain value from its text."""
    return _loam.parse(type_name, text)
