#pragma once

#include <Ombra/Export.h>
#include <Ombra/String.h>

#include <cstdint>
#include <string>

// How the agent and the hardware side wake each other.
//
// What there is to do stands in shared memory alone (see GroupSlates.h). A doorbell only says "look
// now": the agent rings "hw" after it has announced changes, the hardware side rings "agent" after
// it has stored what it applied. A ring may be lost, doubled or late, so that whoever waits for one
// also looks from time to time.
//
// A doorbell is a Unix datagram socket of its receiver, at "<root>/<manager>/doorbell/<name>"; the
// folder has mode 0700, the socket 0600. The path may be of any length. A receiver that comes up
// takes the place of a former one of the same name, alive or dead: who may be the one is settled by
// the lock of the shared-memory entities, not here.
//
// To wait, in any event loop:
//
//     Asic::DoorbellReceiver bell{managerName, Asic::DoorbellReceiver::hw};
//     poll on bell.fd() for reading, with a timeout;
//     bell.drain();           // first this,
//     ... look at what there is to do ...  // then this: a ring in between is not lost
//
// One thread uses an object. Neither operation ever blocks.
namespace Asic {

class LOAM_EXPORT DoorbellReceiver {
  public:
    static constexpr char const* agent = "agent";
    static constexpr char const* hw = "hw";

    // Makes the folder and the socket below the root of `ZetSharedMem`. Raises
    // `ZetSharedMem::UnsafePathException` and `Ombra::Exception`.
    DoorbellReceiver(Ombra::String const& managerName, Ombra::String const& name);

    // Removes the socket, unless another receiver has taken its place.
    ~DoorbellReceiver();

    DoorbellReceiver(DoorbellReceiver const&) = delete;
    DoorbellReceiver& operator=(DoorbellReceiver const&) = delete;

    // Readable when it was rung. Owned by the object.
    int fd() const noexcept { return socket_; }

    // Takes all rings; whether there was any.
    bool drain() noexcept;

  private:
    int folder_ = -1;
    int socket_ = -1;
    std::string name_;
    std::uint64_t device_ = 0; // with `inode_`: which file is ours
    std::uint64_t inode_ = 0;
};

class LOAM_EXPORT DoorbellRinger {
  public:
    // The receiver need not be there, now or ever.
    DoorbellRinger(Ombra::String const& managerName, Ombra::String const& name);
    ~DoorbellRinger();

    DoorbellRinger(DoorbellRinger const&) = delete;
    DoorbellRinger& operator=(DoorbellRinger const&) = delete;

    // Whether the receiver has got it. False when there is none, and when as many rings wait for it
    // as the system keeps; nothing is lost by either. Costs one system call, two after a failure.
    bool ring() noexcept;

  private:
    bool send() noexcept;

    std::string folderName_;
    std::string name_;
    int folder_ = -1;
    int socket_ = -1;
};

} // namespace Asic
