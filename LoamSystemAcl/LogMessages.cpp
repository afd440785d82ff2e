#include <LoamSystemAcl/LogMessages.h>

namespace LoamSystemAcl {

#if defined(__has_attribute) && __has_attribute(retain)
#define LOAM_IN_LOG_SECTION gnu::section(".ostrel_logmsg"), gnu::used, gnu::retain
#else
#define LOAM_IN_LOG_SECTION gnu::section(".ostrel_logmsg"), gnu::used
#endif

[[LOAM_IN_LOG_SECTION]] Zet::LogDescriptor const logMessages[3] = {
    {"HW_ABSTRACTION_EXCEPTION", "%s", "Exception", "\x01", 3, 0},
    {"HW_ABSTRACTION_RELAUNCH_ERROR", "%s", "Duplicate Writer Detected, slate path not cleaned up",
     "\x01", 3, 0},
    {"HW_ABSTRACTION_ERROR", "Hardware abstraction error: unable to load item: %s",
     "Hardware abstraction error: unable to load some persistent items. Some agents will be "
     "restarted",
     "\x01", 3, 0},
};

} // namespace LoamSystemAcl
