#include <fmt/format.h>

#include <apps/policy/FileText.h>
#include <apps/policy/Policy.h>
#include <apps/policy/Reader.h>

namespace LoamPolicy {

namespace {

/// Why the text is refused, or nothing: then `rules` has what it says.
template <class Iterator>
std::optional<Problem> readRules(Iterator begin, Iterator end, std::vector<PolicyRule>& rules) {
    Reader reader;
    bool const taken = nlohmann::json::sax_parse(begin, end, &reader);
    if (reader.problem()) {
        return reader.problem();
    }
    if (!taken) {
        return Problem{"", "not JSON"};
    }
    rules = reader.takeRules();
    return std::nullopt;
}

} // namespace

std::string PolicyError::text() const {
    std::string line = file;
    for (std::string const* part : {&pointer, &reason}) {
        line += part->empty() ? "" : ": " + *part;
    }
    std::string clean;
    for (char const c : line) {
        bool const isControl = static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
        clean +=
            isControl ? fmt::format("\\u{:04x}", static_cast<unsigned char>(c)) : std::string(1, c);
    }
    return clean;
}

std::variant<Policy, PolicyError> Policy::load(std::filesystem::path const& path) {
    FileText text(path, maxFileSize);
    std::vector<PolicyRule> rules;
    auto problem = readRules(text.begin(), FileText::end(), rules);
    if (!text.failure().empty()) {
        return PolicyError{path.string(), "", text.failure()};
    }
    if (problem) {
        return PolicyError{path.string(), std::move(problem->where), std::move(problem->reason)};
    }
    return Policy(std::move(rules));
}

std::variant<Policy, PolicyError> Policy::parse(std::string_view text, std::string fileName) {
    if (text.size() > maxFileSize) {
        return PolicyError{std::move(fileName), "",
                           fmt::format("longer than {} bytes, the most that is read", maxFileSize)};
    }
    std::vector<PolicyRule> rules;
    if (auto problem = readRules(text.begin(), text.end(), rules)) {
        return PolicyError{std::move(fileName), std::move(problem->where),
                           std::move(problem->reason)};
    }
    return Policy(std::move(rules));
}

} // namespace LoamPolicy
