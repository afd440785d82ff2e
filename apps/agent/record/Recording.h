#pragma once

#include <apps/agent/Platform.h>
#include <apps/agent/record/Recorder.h>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// The recording of a live agent: from its start all operations of the agent are recorded as they
// are asked for, and beside them, in small portions, what the tables held before.
//
// A key may be changed before its turn comes. Then the record has the change first and what became
// of it again later, or nothing more when it has gone: the last line of a key is right either way.
namespace LoamAgent {

class Recording {
  public:
    explicit Recording(Platform& platform) : platform_{platform} {}
    ~Recording() { stop(); }

    // Throws `Ombra::Exception`.
    void start(std::string path, std::uint64_t mostBytes);

    // Why the record is not whole, or nothing.
    std::string stop();

    // Records some more of what the tables held. True when there is more.
    bool step();

    Recorder const* recorder() const { return recorder_.get(); }
    bool complete() const { return recorder_ && nextTable_ == platform_.tables().size(); }

  private:
    void recordHeld(AgentTable const& table, std::uint32_t key);

    Platform& platform_;
    std::unique_ptr<Recorder> recorder_;
    std::size_t nextTable_ = 0;
    std::size_t nextUnit_ = 0;
    std::size_t nextKey_ = 0;
    std::vector<std::uint32_t> keys_; // of that table and unit
    bool keysRead_ = false;
};

} // namespace LoamAgent
