#include <apps/hw/Backend.h>

namespace LoamHw {

Backend::~Backend() = default;

char const* nameOf(BackendResult result) {
    switch (result) {
    case BackendResult::ok:
        return "ok";
    case BackendResult::refused:
        return "refused";
    case BackendResult::full:
        return "full";
    case BackendResult::retry:
        return "retry";
    }
    return "unknown";
}

} // namespace LoamHw
