#pragma once

#include <Ombra/FieldId.h>
#include <Ombra/Publisher.h>
#include <Zet/HashMap2018.h>

// The accessors of an attribute that is a set of keys. A key is hashed once per call; a change is
// published when the set has changed, and only then.
namespace Zet {

template <typename Coll>
struct SetAttr {
    using Node = typename Coll::Node;
    using Key = typename Node::Key;
    static_assert(Node::isSet);

    static bool has(Coll const& coll, Key const& key) { return coll[key] != nullptr; }

    static void is(Coll& coll, Ombra::Publisher& publisher, Ombra::FieldId fieldId,
                   Key const& key) {
        auto const at = Coll::keyArg(key);
        if (coll.find(at) != nullptr) {
            return;
        }
        coll.add(at, Node{key});
        publisher.publishChangeRecursive(fieldId, &key, nullptr, Impl::untypedKeyIsEq<Key>);
    }

    // True when the key was there.
    static bool del(Coll& coll, Ombra::Publisher& publisher, Ombra::FieldId fieldId,
                    Key const& key) {
        if (!coll.del(Coll::keyArg(key))) {
            return false;
        }
        publisher.publishChangeRecursive(fieldId, &key, nullptr, Impl::untypedKeyIsEq<Key>);
        return true;
    }

    // Empties the set: at once when nobody listens, otherwise with one change per key.
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
