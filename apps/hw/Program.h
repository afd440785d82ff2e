#pragma once

#include <Asic/Doorbell.h>

#include <apps/hw/ControlFile.h>
#include <apps/hw/HardwareSide.h>
#include <apps/hw/ModelBackend.h>
#include <apps/hw/Options.h>
#include <memory>
#include <string>

// The program: the hardware side with its loop, signals, doorbells and files.
//
// The loop waits for the agent's ring, for a signal, or for 50 ms to pass, whichever comes first,
// and does not wait at all while a round says that there is more to do.
namespace LoamHw {

class Program {
  public:
    // The signals are blocked from here on, in this thread. Raises `Ombra::Exception` and
    // `std::invalid_argument`, with a sentence for the user.
    explicit Program(Options options);
    ~Program();

    Program(Program const&) = delete;
    Program& operator=(Program const&) = delete;

    // Runs until SIGTERM or SIGINT. Gives the exit status.
    int run();

  private:
    void say(std::string const& line, bool detail) const;
    bool wait(bool atOnce); // false when the program is to end
    bool takeSignals();
    void lookAtControl();
    void writeStat(bool running);
    void writeDump();
    void sayCounts() const;

    Options options_;
    int signals_; // blocked and waited for before anything is made
    std::string folder_;
    Ombra::Ptr<ZetSharedMem::EntityManager> manager_;
    std::unique_ptr<ModelBackend> backend_;
    std::unique_ptr<HardwareSide> hardwareSide_;
    Asic::DoorbellReceiver bell_;
    Asic::DoorbellRinger agentBell_;
    ControlFile control_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point nextStat_ = start_;
    std::string statTrouble_;
    bool failed_ = false;
};

} // namespace LoamHw
