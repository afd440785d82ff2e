#include <fmt/format.h>

#include <apps/hw/Dump.h>
#include <iterator>

namespace LoamHw {

std::string dumpOf(HardwareSide const& hardwareSide, Backend const& backend) {
    std::string text;
    auto out = std::back_inserter(text);
    for (auto const& table : hardwareSide.tables()) {
        auto const& view = table.view();
        for (auto const unitId : backend.units(view.tableId())) {
            for (auto const key : backend.keys(view.tableId(), unitId)) {
                fmt::format_to(out, "{} {} {:#010x} ", view.name(), unitId, key);
                auto const fields = backend.read(Place{view.tableId(), unitId, key});
                for (auto const byte : fields.value_or(std::span<std::byte const>{})) {
                    fmt::format_to(out, "{:02x}", std::to_integer<unsigned>(byte));
                }
                text += '\n';
            }
        }
    }
    return text;
}

} // namespace LoamHw
