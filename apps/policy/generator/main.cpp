// loam-policy-gen: writes a large policy file.

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <apps/policy/generator/PolicyGenerator.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace LoamPolicy;

constexpr std::uint32_t maxEntries = 65000;

int fail(std::string const& file) {
    fmt::print(stderr, "loam-policy-gen: {}: cannot be written: {}\n", file, std::strerror(errno));
    return 1;
}

int write(GeneratorOptions const& options, std::string const& file) {
    if (file == "-") {
        return generatePolicy(options, stdout) ? 0 : fail("standard output");
    }
    std::FILE* const out = std::fopen(file.c_str(), "w");
    if (out == nullptr) {
        return fail(file);
    }
    bool const written = generatePolicy(options, out);
    bool const closed = std::fclose(out) == 0;
    return written && closed ? 0 : fail(file);
}

} // namespace

int main(int argc, char** argv) {
    GeneratorOptions options;
    std::vector<std::string> types{"ipv4", "ipv6", "l2", "mpls", "vxlan", "tunnel", "olp"};
    std::string file = "-";

    CLI::App app{"Writes a valid policy of many entries (OpenConfig ACL, RFC 7951 JSON)."};
    app.set_version_flag("--version", LOAM_VERSION);
    app.add_option("-n,--entries", options.entries, "acl-entries per type")
        ->check(CLI::Range(std::uint32_t{0}, maxEntries))
        ->capture_default_str();
    app.add_option("-s,--seed", options.seed, "the same seed gives the same policy")
        ->capture_default_str();
    app.add_option("-t,--types", types, "types of ACL set, separated by commas")
        ->delimiter(',')
        ->check(CLI::IsMember(types))
        ->capture_default_str();
    app.add_option("-o,--output", file, "file to write; - is standard output")
        ->capture_default_str();
    app.footer("Exit status: 0 written; 1 the file cannot be written; 2 command line.");
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }

    for (std::string const& type : types) {
        options.kinds.push_back(*generatorKind(type));
    }
    return write(options, file);
}
