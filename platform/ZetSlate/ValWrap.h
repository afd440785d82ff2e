#pragma once

#include <functional>
#include <type_traits>

namespace ZetSlate {

// Ties a record to its key, which is a data member or an accessor of it. The record starts at the
// wrapper's first byte.
template <typename RecordType, typename KeyType, auto Member, bool Flag>
struct ValWrap {
    using Record = RecordType;
    using Key = KeyType;

    Record record;

    KeyType fwkKey() const { return keyOf(record); }
    static KeyType keyOf(Record const& from) {
        return static_cast<KeyType>(std::invoke(Member, from));
    }

    static ValWrap defaultWrap() {
        if constexpr (requires { Record::defaultRecord(); }) {
            return ValWrap{Record::defaultRecord()};
        } else {
            return ValWrap{Record()};
        }
    }
};

} // namespace ZetSlate
