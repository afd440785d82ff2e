#pragma once

#include <Zet/HashMap2018.h>

#include <utility>

// The accessors of an attribute that is a collection of plain values keyed by something within
// them, on an owner that announces no changes: a snapshot of a table.
namespace Zet {

template <typename Coll>
struct EmbeddedMapAttr {
    using Node = typename Coll::Node;
    using Key = typename Node::Key;
    using Value = typename Node::Value;

    // The value with that key; null without one. Valid until the collection changes.
    static Value const* find(Coll const& coll, Key const& key) {
        Node const* node = coll[key];
        return node == nullptr ? nullptr : &node->value();
    }

    // Adds the value, or overwrites the one with its key.
    static void is(Coll& coll, Value const& value) {
        Key const key = Node::keyOf(value);
        auto const at = Coll::keyArg(key);
        if (Node* node = coll.find(at); node != nullptr) {
            node->valueIs(value);
        } else {
            coll.add(at, Node{value});
        }
    }

    // Removes and gives the value with that key; `absent` without one.
    static Value del(Coll& coll, Key const& key, Value const& absent) {
        typename Coll::Removed removed;
        return coll.del(Coll::keyArg(key), removed) ? std::move(removed.node()).value() : absent;
    }

    static void delAll(Coll& coll) { coll.delAll(); }
};

} // namespace Zet
