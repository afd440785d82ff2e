#pragma once

#include <Zet/HashMap2018.h>

#include <utility>

// The accessors of an attribute that maps keys to counted objects that do not know their key, on an
// owner that announces no changes: a table's log and its configuration table per unit.
namespace Zet {

template <typename Coll>
struct PtrMapAttr {
    using Node = typename Coll::Node;
    using Key = typename Node::Key;
    using Value = typename Node::Value; // an Ombra::Ptr

    // The object under that key, or null.
    static Value get(Coll const& coll, Key const& key) {
        Node const* node = coll[key];
        return node == nullptr ? Value{} : node->value();
    }

    // An object replaces the one under a known key and is added under an unknown one; null removes
    // a known key and does nothing for an unknown one.
    static void is(Coll& coll, Key const& key, Value const& value) {
        if (value == nullptr) {
            del(coll, key);
            return;
        }
        auto const at = Coll::keyArg(key);
        if (Node* node = coll.find(at); node != nullptr) {
            node->valueIs(value);
        } else {
            coll.add(at, Node{key, value});
        }
    }

    // Removes and gives the object under that key; null without one.
    static Value del(Coll& coll, Key const& key) {
        typename Coll::Removed removed;
        return coll.del(Coll::keyArg(key), removed) ? std::move(removed.node()).value() : Value{};
    }

    static void delAll(Coll& coll) { coll.delAll(); }
};

} // namespace Zet
