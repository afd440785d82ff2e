#pragma once

#include <Ombra/FieldId.h>
#include <Ombra/Publisher.h>
#include <Zet/HashMap2018.h>

#include <optional>

// The accessors of an attribute that maps keys to plain values, such as the newest version of each
// key in flight. `former` of a published change points to the former value, null after an addition.
// A setter that is given the value already there, as `isEq` or == says, neither stores nor
// publishes. A key is hashed once per call.
namespace Zet {

template <typename Coll>
struct ValueMapAttr {
    using Node = typename Coll::Node;
    using Key = typename Node::Key;
    using Value = typename Node::Value;

    // The value of that key, or a default one, which is the invalid one for versions.
    static Value get(Coll const& coll, Key const& key) {
        Node const* node = coll[key];
        return node == nullptr ? Value{} : node->value();
    }

    static std::optional<Value> getOptional(Coll const& coll, Key const& key) {
        Node const* node = coll[key];
        return node == nullptr ? std::nullopt : std::optional<Value>{node->value()};
    }

    static void is(Coll& coll, Ombra::Publisher& publisher, Ombra::FieldId fieldId, Key const& key,
                   Value const& value) {
        auto const at = Coll::keyArg(key);
        if (Node* node = coll.find(at); node == nullptr) {
            coll.add(at, Node{key, value});
            publisher.publishChangeRecursive(fieldId, &key, nullptr, Impl::untypedKeyIsEq<Key>);
        } else if (!Impl::keyIsEq<Value>(node->value(), value)) {
            Value const former = node->valueIs(value);
            publisher.publishChangeRecursive(fieldId, &key, &former, Impl::untypedKeyIsEq<Key>);
        }
    }

    // True when the key was there; publishes only then.
    static bool del(Coll& coll, Ombra::Publisher& publisher, Ombra::FieldId fieldId,
                    Key const& key) {
        typename Coll::Removed removed;
        if (!coll.del(Coll::keyArg(key), removed)) {
            return false;
        }
        publisher.publishChangeRecursive(fieldId, &key, &removed.node().value(),
                                         Impl::untypedKeyIsEq<Key>);
        return true;
    }

    // Empties the map: at once when nobody listens, otherwise with one change per key.
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
