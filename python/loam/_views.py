"""Collections, sets and queues of an object, as Python's mappings, sets and sequences.

A view holds its object and no place in it. An iteration survives every change that is made between
two of its steps.
"""

from collections.abc import ItemsView, MutableMapping, MutableSet

from . import _loam


class _Items(ItemsView):
    def __iter__(self):
        return self._mapping.items_from(None)


class Collection(MutableMapping):
    """Values by key. Assigning needs a collection that can be written, and raises ReadOnly otherwise."""

    __slots__ = ("_object", "_attribute")

    def __init__(self, owner, attribute):
        self._object = owner
        self._attribute = attribute

    def __getitem__(self, key):
        if not _loam.has(self._object, self._attribute, key):
            raise KeyError(key)
        return _loam.element(self._object, self._attribute, key)

    def __setitem__(self, key, value):
        _loam.element_is(self._object, self._attribute, key, value)

    def __delitem__(self, key):
        if not _loam.element_del(self._object, self._attribute, key):
            raise KeyError(key)

    def __contains__(self, key):
        return _loam.has(self._object, self._attribute, key)

    def __len__(self):
        return _loam.size(self._object, self._attribute)

    def __iter__(self):
        return (key for key, _ in self.items_from(None))

    def items(self):
        return _Items(self)

    def items_from(self, key):
        """Pairs of key and value from that key on; nothing when it is not there."""
        return _loam.iterate(self._object, self._attribute, key)

    def __repr__(self):
        return f"<{self._attribute.name}: {len(self)} of {self._attribute.type}>"


class Set(MutableSet):
    """Keys alone."""

    __slots__ = ("_object", "_attribute")

    def __init__(self, owner, attribute):
        self._object = owner
        self._attribute = attribute

    @classmethod
    def _from_iterable(cls, keys):
        return set(keys)

    def __contains__(self, key):
        return _loam.has(self._object, self._attribute, key)

    def __len__(self):
        return _loam.size(self._object, self._attribute)

    def __iter__(self):
        return (key for key, _ in _loam.iterate(self._object, self._attribute, None))

    def add(self, key):
        _loam.key_is(self._object, self._attribute, key)

    def discard(self, key):
        _loam.element_del(self._object, self._attribute, key)

    def __repr__(self):
        return f"<{self._attribute.name}: {len(self)} keys>"


class Queue:
    """Values in their order; taken from the front."""

    __slots__ = ("_object", "_attribute")

    def __init__(self, owner, attribute):
        self._object = owner
        self._attribute = attribute

    def __len__(self):
        return _loam.size(self._object, self._attribute)

    def __iter__(self):
        return (value for _, value in _loam.iterate(self._object, self._attribute, None))

    @property
    def front(self):
        """The first, or None."""
        return _loam.front(self._object, self._attribute)

    @property
    def back(self):
        """The last, or None."""
        return _loam.back(self._object, self._attribute)

    def enq(self, value):
        _loam.enq(self._object, self._attribute, value)

    def deq(self):
        """Takes the first; None when there is none."""
        return _loam.deq(self._object, self._attribute)

    def __repr__(self):
        return f"<{self._attribute.name}: {len(self)} of {self._attribute.type}>"


VIEWS = {"collection": Collection, "set": Set, "queue": Queue}
