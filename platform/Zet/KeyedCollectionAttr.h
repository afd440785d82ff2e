#pragma once

#include <Ombra/FieldId.h>
#include <Ombra/ModuleInspectData.h>
#include <Ombra/Ptr.h>
#include <Ombra/Publisher.h>
#include <Zet/HashMap2018.h>
#include <Zet/MutatorException.h>

#include <utility>

// The accessors of an attribute that is a collection of counted objects keyed by something within
// them, such as the pending writes of a table.
//
// A change is published when the collection has changed and before the former object is let go; a
// setter that is given the object already there does nothing. `former` of the published change
// points to an `Ombra::Ptr` to the former object, which is null after an addition. A key is hashed
// once per call.
namespace Zet {

template <typename Coll>
struct KeyedCollectionAttr {
    using Node = typename Coll::Node;
    using Key = typename Node::Key;
    using Value = typename Node::Value; // an Ombra::Ptr

    // The object with that key, or null.
    static Value get(Coll const& coll, Key const& key) {
        Node const* node = coll[key];
        return node == nullptr ? Value{} : node->value();
    }

    // Adds the object, or replaces the one with its key. Same means the same object, not an equal
    // one. `module` names the attribute's owner in the exception that a null pointer raises.
    static void is(Coll& coll, Ombra::Publisher& publisher, Ombra::FieldId fieldId,
                   Ombra::ModuleInspectData const* module, Value const& value) {
        if (value == nullptr) {
            throwMutatorArgNullPointerException(module, 2, fieldId);
        }
        Key const key = Node::keyOf(value);
        auto const at = Coll::keyArg(key);
        Value former;
        if (Node* node = coll.find(at); node == nullptr) {
            coll.add(at, Node{value});
        } else if (node->value() == value) {
            return;
        } else {
            former = node->valueIs(value);
        }
        publisher.publishChangeRecursive(fieldId, &key, &former, Impl::untypedKeyIsEq<Key>);
    }

    // Removes and gives the object with that key; null, and nothing is published, without one.
    static Value del(Coll& coll, Ombra::Publisher& publisher, Ombra::FieldId fieldId,
                     Key const& key) {
        typename Coll::Removed removed;
        if (!coll.del(Coll::keyArg(key), removed)) {
            return {};
        }
        Value former = std::move(removed.node()).value();
        publisher.publishChangeRecursive(fieldId, &key, &former, Impl::untypedKeyIsEq<Key>);
        return former;
    }

    // Empties the collection: at once when nobody listens, otherwise with one change per key.
    static void delAll(Coll& coll, Ombra::Publisher& publisher, Ombra::FieldId fieldId) {
        if (!publisher.hasSubscribers()) {
            coll.delAll();
            return;
        }
        for (typename Coll::IteratorConst i{coll}; i; ++i) {
            Key const key = i->fwkKey();
            del(coll, publisher, fieldId, key);
        }
    }
};

} // namespace Zet
