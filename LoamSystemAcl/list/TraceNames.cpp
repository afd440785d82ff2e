#include <Zet/TraceHandle.h>

// The trace handles of all tables are listed as soon as the library is loaded, so that a person
// sees what there is to be switched on. A unit makes its handle at its first trace that is on; it
// finds the levels that were set for the name until then.
namespace LoamSystemAcl {

namespace {

void list(char const* name) {
    Zet::TraceHandle{name, false};
}

[[maybe_unused]] bool const listed = [] {
    list("SwTableIter");
    // clang-format off
    for (auto const* name : {"XxxEntryLog", "XxxInterface", "XxxSwTable"}) { list(name); }
    // clang-format on
    return true;
}();

} // namespace

} // namespace LoamSystemAcl
