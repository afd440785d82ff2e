#include <Zet/SassertHelper.h>

#include <fmt/format.h>

#include <cstdio>
#include <syslog.h>

namespace Zet {

SassertHelper::SassertHelper(std::string_view expression) : expression_{expression} {}

SassertHelper::~SassertHelper() {
    auto const line = fmt::format("{}: {}", expression_, message_.str());
    ::syslog(LOG_MAKEPRI(LOG_LOCAL4, LOG_CRIT), "%s", line.c_str());
    fmt::print(stderr, "{}\n", line);
}

} // namespace Zet
