#include <Ombra/Exception.h>

#include <fmt/format.h>

#include <apps/hw/Options.h>
#include <apps/hw/Program.h>
#include <cstdio>
#include <exception>

// Exit status: 0 after SIGTERM or SIGINT, 1 when something could not be done, 2 for a wrong command
// line.
int main(int argc, char** argv) {
    auto const options = LoamHw::optionsFrom(argc, argv);
    if (auto const* const status = std::get_if<int>(&options)) {
        return *status;
    }
    try {
        return LoamHw::Program{std::get<LoamHw::Options>(options)}.run();
    } catch (std::exception const& failure) {
        fmt::print(stderr, "loam-hw: {}\n", failure.what());
        return 1;
    }
}
