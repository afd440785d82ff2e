#pragma once

#include <apps/agent/Platform.h>
#include <apps/agent/Task.h>
#include <apps/agent/record/RecordedOperation.h>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Does a record's operations again, in their order and with what they depended on. Agent's thread.
namespace LoamAgent {

class Replay final : public Task {
  public:
    explicit Replay(Platform& platform) : platform_{platform} {}

    // Why the operations can't be done by these tables: one that there isn't, a unit that the agent
    // has not, bytes of another size. Empty when they can.
    static std::string fault(std::vector<RecordedOperation> const& operations,
                             Platform const& platform, std::vector<std::uint16_t> const& units);

    void start(std::vector<RecordedOperation> operations);

    bool feed(std::size_t budget) override;
    bool fed() const override { return next_ == operations_.size(); }
    Amount amount() const override;
    std::uint64_t notAsked() const override { return operations_.size() - next_; }
    std::uint64_t failed() const override { return failed_; }
    std::uint64_t outstanding() const override { return outstanding_; }
    std::string summary(std::uint64_t written, std::uint64_t suppressed) const override;
    void stop() override;

  private:
    // False when it has to wait for commits first.
    bool ask(RecordedOperation const& operation);
    ResponseHandler answering();

    Platform& platform_;
    std::vector<RecordedOperation> operations_;
    std::vector<Handle> handles_; // of those that others depend on
    std::vector<bool> dependedOn_;
    std::size_t next_ = 0;
    std::uint64_t job_ = 0;
    std::uint64_t answered_ = 0;
    std::uint64_t silent_ = 0; // remove-alls, which nobody answers
    std::uint64_t failed_ = 0;
    std::uint64_t outstanding_ = 0;
};

} // namespace LoamAgent
