#include <Ombra/Exception.h>
#include <Slate/Exceptions.h>
#include <Slate/Store.h>
#include <Slate/Verify.h>

#include <fuzz/Patch.h>
#include <fuzz/Target.h>
#include <sys/mman.h>
#include <unistd.h>

// A damaged store file, under a reader, under the tool that verifies, and under a writer that comes
// up on it and goes on.
namespace {

constexpr std::uint64_t keys = 12;

struct Record {
    std::uint32_t key;
    std::uint32_t value;
    std::uint32_t words[4]; // all follow from key and value
};

Record recordOf(std::uint64_t key, std::uint32_t value) {
    Record record{static_cast<std::uint32_t>(key), value, {}};
    for (std::uint32_t index = 0; index < 4; ++index) {
        record.words[index] = (record.key * 31 + value) * 977 + index;
    }
    return record;
}

bool sound(Record const& record) {
    Record const whole = recordOf(record.key, record.value);
    return std::memcmp(&whole, &record, sizeof record) == 0;
}

Slate::StoreSpec spec(Slate::Order order) {
    Slate::StoreSpec spec;
    spec.typeName = "Fuzz::Record";
    spec.collectionName = "records";
    spec.recordBytes = sizeof(Record);
    spec.keyBytes = order == Slate::Order::keyMix ? 4 : 8;
    spec.capacity = 16;
    spec.order = order;
    return spec;
}

Slate::FileDescriptor memory() {
    return Slate::FileDescriptor{::memfd_create("fuzz", MFD_CLOEXEC)};
}

// Twelve records, some of them replaced, some removed again.
std::string wholeFile(Slate::Order order) {
    auto const fd = memory();
    Slate::Store::format(fd.get(), "fuzz", spec(order), false);
    {
        Slate::Store store{Slate::FileDescriptor{::dup(fd.get())}, "fuzz", spec(order),
                           Slate::Store::Mode::write};
        for (std::uint64_t key = 1; key <= keys; ++key) {
            Record const record = recordOf(key * 28, 1);
            store.put(key * 28, &record);
        }
        Record const again = recordOf(28, 2);
        store.put(28, &again);
        store.erase(2 * 28);
        store.scratchpadIs(77);
    }
    std::string bytes(static_cast<std::size_t>(::lseek(fd.get(), 0, SEEK_END)), '\0');
    fuzz::require(::pread(fd.get(), bytes.data(), bytes.size(), 0) ==
                      static_cast<ssize_t>(bytes.size()),
                  "the store can be copied");
    return bytes;
}

// Damage is told by an exception; everything else that is given is a record that was stored.
template <typename Work>
void bearing(Work const& work) {
    try {
        work();
    } catch (Ombra::CorruptionDetectedException const&) {
    } catch (Slate::FullException const&) { // damaged slots are not used again
    }
}

void read(Slate::Store& store) {
    for (std::uint64_t key = 1; key <= keys + 1; ++key) {
        bearing([&] {
            Record buffer{};
            void const* const found = store.lookup(key * 28, &buffer);
            if (found != nullptr) {
                Record record{};
                std::memcpy(&record, found, sizeof record);
                fuzz::require(sound(record) && record.key == key * 28, "a lookup gives the record");
            }
        });
    }
    bearing([&] {
        Record record{};
        int steps = 0;
        for (bool more = store.iterFirst(&record, nullptr); more;
             more = store.iterNext(record.key, &record, nullptr)) {
            fuzz::require(sound(record), "a walk gives records");
            fuzz::require(++steps <= 1000, "a walk ends");
        }
    });
    bearing([&] { store.scratchpad(); });
}

void change(Slate::Store& store) {
    for (std::uint64_t const key : {1U, 28U, 500U}) {
        bearing([&] {
            Record const record = recordOf(key, 9);
            store.put(key, &record);
            Record buffer{};
            auto const* const found = static_cast<Record const*>(store.lookup(key, &buffer));
            fuzz::require(found != nullptr && found->value == 9, "what was put is there");
        });
    }
    bearing([&] { store.erase(3 * 28); });
    store.scratchpadIs(78);
    fuzz::require(store.scratchpad() == 78, "the scratchpad holds what was stored");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static std::string const files[] = {wholeFile(Slate::Order::keyMix),
                                        wholeFile(Slate::Order::version)};
    if (size == 0) {
        return 0;
    }
    auto const order = data[0] % 2 == 0 ? Slate::Order::keyMix : Slate::Order::version;
    std::string file = files[data[0] % 2];
    fuzz::patch(file, {data + 1, size - 1});
    auto const fd = memory();
    fuzz::require(::pwrite(fd.get(), file.data(), file.size(), 0) ==
                      static_cast<ssize_t>(file.size()),
                  "the file can be made");
    auto const open = [&](Slate::Store::Mode mode) {
        return Slate::Store{Slate::FileDescriptor{::dup(fd.get())}, "fuzz", spec(order), mode};
    };
    Slate::verify(Slate::FileDescriptor{::dup(fd.get())}, "fuzz", [](Slate::Damage const& damage) {
        fuzz::require(!damage.text.empty(), "a damage has its sentence");
    });
    try {
        auto reader = open(Slate::Store::Mode::read);
        read(reader);
        auto writer = open(Slate::Store::Mode::write);
        read(writer);
        change(writer);
        read(writer);
    } catch (Slate::BadFileException const& exception) {
        fuzz::require(exception.msg().str().size() > 5, "a refusal has its reason");
    }
    return 0;
}
