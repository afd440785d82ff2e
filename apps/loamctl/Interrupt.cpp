#include <apps/loamctl/Interrupt.h>
#include <csignal>

namespace LoamCtl {

namespace {

volatile std::sig_atomic_t come = 0;

void note(int) {
    come = 1;
}

} // namespace

// Without SA_RESTART, so that a wait ends.
void waitForInterrupts() {
    struct sigaction action {};
    action.sa_handler = note;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

bool interrupted() {
    return come != 0;
}

} // namespace LoamCtl
