#pragma once

#include "WritePath.h"

#include <cstdint>
#include <optional>
#include <vector>

// A subscriber of a table that remembers the changes of its pending collections.
namespace LoamSystemAcl::write_path_test {

// One change as a subscriber of the table hears it. Values are those of wrappers or versions.
struct Heard {
    Ombra::FieldId field;
    std::uint32_t key;
    std::optional<std::uint64_t> former;
    std::uint32_t sizeThen; // of the collection, at the moment of the call

    friend bool operator==(Heard const&, Heard const&) = default;
};

// Hears the changes of the collections, and checks what each of them is told with.
class Listener {
  public:
    explicit Listener(EntryPath& t)
        : t_{t}, subscription_{t.table->publisher()->subscribe(
                     [this](Ombra::Change const& change) { hear(change); })} {}

    std::vector<Heard> heard;

  private:
    using Key = EntryPath::Key;
    using Field = EntryPath::SwTable::Field;
    using WrapperPtr = Ombra::Ptr<EntryPath::Wrapper>;

    void hear(Ombra::Change const& change) {
        if (change.fieldId == Field::transientAddEntry) {
            note(change, formerOf(change), t_.table->transientAddEntrys());
        } else if (change.fieldId == Field::transientRemoveEntry) {
            note(change, formerOf(change), t_.table->transientRemoveEntrys());
        } else if (change.fieldId == Field::transientVersionForKey) {
            auto const* former = static_cast<EntryVersion const*>(change.former);
            note(change, former == nullptr ? std::nullopt : std::optional{former->major()},
                 t_.table->transientVersionForKeyColl().size());
        } else if (change.fieldId == Field::markedKey) {
            note(change, std::nullopt, t_.table->markedKeyColl().size());
        }
    }

    void note(Ombra::Change const& change, std::optional<std::uint64_t> former,
              std::uint32_t size) {
        auto const& key = *static_cast<Key const*>(change.key);
        Key const same{key};
        Key const other{key.number() + 1};
        EXPECT_TRUE(change.keyIsEq(&key, &same));
        EXPECT_FALSE(change.keyIsEq(&key, &other));
        heard.push_back(Heard{change.fieldId, key.number(), former, size});
    }

    // The former wrapper is alive during the call.
    static std::optional<std::uint64_t> formerOf(Ombra::Change const& change) {
        auto const& former = *static_cast<WrapperPtr const*>(change.former);
        return former ? std::optional<std::uint64_t>{EntryPath::valueOf(former->swTableEntry())}
                      : std::nullopt;
    }

    EntryPath& t_;
    Ombra::Subscription subscription_;
};

using Changes = std::vector<Heard>;

} // namespace LoamSystemAcl::write_path_test
