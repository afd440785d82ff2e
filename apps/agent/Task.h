#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Something that the agent does with its tables from the first operation to the last
// acknowledgement: a policy, a flush, a replay. `Course` drives it.
namespace LoamAgent {

class Task {
  public:
    struct Amount { // entries
        std::uint64_t done = 0;
        std::uint64_t total = 0;
    };

    virtual ~Task() = default;

    // Asks for at most about `budget` operations. False when it is no use to call again before the
    // resolver or the hardware side has moved.
    virtual bool feed(std::size_t budget) = 0;

    // Whether all is asked for, and whether the total is known yet.
    virtual bool fed() const = 0;
    virtual bool counted() const { return true; }

    virtual Amount amount() const = 0;

    // Of what was to be asked for; operations that were refused; those without an answer yet.
    virtual std::uint64_t notAsked() const { return 0; }
    virtual std::uint64_t failed() const { return 0; }
    virtual std::uint64_t outstanding() const { return 0; }

    // What a person is told when all is committed. `written` and `suppressed` writes are the
    // tables' own count.
    virtual std::string summary(std::uint64_t written, std::uint64_t suppressed) const = 0;

    // Asks for nothing more.
    virtual void stop() = 0;
};

} // namespace LoamAgent
