#include <apps/policy/Policy.h>
#include <fuzz/Target.h>
#include <string_view>
#include <variant>

// A policy file is taken, or refused with a reason in one line.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text{reinterpret_cast<char const*>(data), size};
    auto const parsed = LoamPolicy::Policy::parse(text, "fuzz.json");
    if (auto const* const error = std::get_if<LoamPolicy::PolicyError>(&parsed)) {
        fuzz::require(!error->reason.empty(), "a refusal has its reason");
        fuzz::require(error->text().find('\n') == std::string::npos, "in one line");
    }
    return 0;
}
