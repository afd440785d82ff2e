#include <apps/loamctl/LiveAgent.h>
#include <apps/loamctl/Pending.h>
#include <charconv>

namespace LoamCtl {

namespace {

std::vector<std::byte> bytesOf(std::string_view hex) {
    std::vector<std::byte> bytes(hex.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        unsigned value = 0;
        std::from_chars(hex.data() + 2 * i, hex.data() + 2 * i + 2, value, 16);
        bytes[i] = static_cast<std::byte>(value);
    }
    return bytes;
}

std::uint32_t keyOf(std::string const& text) {
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, 16));
}

} // namespace

std::map<std::pair<Asic::UnitId, std::uint32_t>, PendingOperation> pendingOf(Context const& context,
                                                                             Table const& table) {
    std::map<std::pair<Asic::UnitId, std::uint32_t>, PendingOperation> all;
    auto agent = LiveAgent::find(context.folder());
    for (std::uint64_t first = 0; agent;) {
        auto const answer =
            agent->ask({{"request", "pending"}, {"table", table.name()}, {"first", first}});
        auto const& operations = answer.at("operations");
        for (auto const& each : operations) {
            auto const what = each.at("operation").get<std::string>();
            if (what != "remove-all") {
                all[{each.at("unit").get<Asic::UnitId>(),
                     keyOf(each.at("key").get<std::string>())}] = {
                    what, bytesOf(each.at("fields").get<std::string>())};
            }
        }
        first += operations.size();
        if (operations.empty() || first >= answer.at("queued").get<std::uint64_t>()) {
            break;
        }
    }
    return all;
}

} // namespace LoamCtl
