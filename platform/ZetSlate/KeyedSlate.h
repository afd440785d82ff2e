#pragma once

#include <Ombra/Ptr.h>
#include <Slate/Ops.h>
#include <Slate/SlotAllocator.h>
#include <Slate/StoreSpec.h>
#include <ZetSharedMem/Entity.h>
#include <ZetSharedMem/MountContext.h>
#include <ZetSlate/CollectionControl.h>
#include <ZetSlate/MountInfo.h>
#include <ZetSlate/ValWrap.h>
#include <ZetSlate/ZetSlateMap.h>

#include <cstdint>
#include <memory>

// A shared-memory entity with one collection: what each persistent table is.
//
// A table's class names its record, its key and where in the record the key is, and gives the
// accessors their names:
//
//     class FooConfigSlate
//         : public ZetSlate::KeyedSlate<FooConfigSlate, FooConfigSlateEntry, FooEntryKey,
//                                       &FooConfigSlateEntry::key> {
//       public:
//         using KeyedSlate::KeyedSlate;
//         auto const& swTableEntries() const { return map(); }
//         void swTableEntriesIs(FooConfigSlateEntry const& record) { recordIs(record); }
//         ...
//     };
//
// and one `ZetSharedMem::TypeRegistration<FooConfigSlate>` of the class's full name lets mounts
// find it. A 64-bit key selects the layout for a log of growing versions, a 32-bit key the one for
// keys in any order (see Slate/StoreSpec.h).
namespace ZetSlate {

template <typename Self, typename RecordType, typename KeyType, auto Member>
class KeyedSlate : public ZetSharedMem::Entity {
  public:
    using Ptr = Ombra::Ptr<Self>;
    using Record = RecordType;
    using Key = KeyType;
    using Wrap = ValWrap<RecordType, KeyType, Member, false>;
    using KeyHash = Slate::Hash<KeyType, false>;
    using MapOps = Slate::Ops<Slate::KeyOps<Slate::KeyRetrieval<&Wrap::fwkKey>, KeyHash>,
                              Slate::ValueOps<Slate::Marshall<Wrap>, Slate::AllocBase<Wrap>>,
                              Slate::SlotAllocator>;
    using Map = ZetSlateMap<Self, Wrap, KeyType, MapOps>;

    KeyedSlate(ZetSharedMem::MountContext const& context, std::shared_ptr<Slate::Store> store)
        : Entity{context, store}, map_{store}, control_{Ombra::ptrIs<CollectionControl>(
                                                   std::move(store))} {}

    Map& map() { return map_; }
    Map const& map() const { return map_; }
    std::uint32_t memberCount() const { return map_.memberCount(); }
    Ombra::Ptr<CollectionControl> const& control() const { return control_; }

    void recordIs(Record const& record) { map_.is(record); }
    bool recordDel(Key const& key) { return map_.del(key); }

    // What the type registry calls for a mount of this class. The result makes the entity when the
    // mount group is closed; it gives null when a reader finds no file.
    static ZetSharedMem::EntityFactory prepareMount(Ombra::String const& typeName,
                                                    MountInfo const& info) {
        return [spec = specOf(typeName, info),
                type = info.type()](ZetSharedMem::MountContext const& context) {
            auto store = type == ZetSlateType::writer ? context.openForWriting(spec)
                                                      : context.openForReading(spec);
            return store ? Ombra::Ptr<ZetSharedMem::Entity>{Ombra::ptrIs<Self>(context, store)}
                         : nullptr;
        };
    }

    static Slate::StoreSpec specOf(Ombra::String const& typeName, MountInfo const& info) {
        Slate::StoreSpec spec;
        spec.typeName = typeName.str();
        if (!info.collections().empty()) {
            spec.collectionName = info.collections().front().name.str();
            spec.capacity = info.collections().front().capacity;
        }
        spec.recordBytes = MapOps::Values::Marshaller::recordBytes;
        spec.keyBytes = sizeof(KeyType);
        spec.order = KeyHash::order;
        return spec;
    }

  private:
    Map map_;
    Ombra::Ptr<CollectionControl> control_;
};

} // namespace ZetSlate
