#pragma once

#include "Agent.h"

#include <cstring>
#include <string_view>

// What a peer is given to store for each write: the two records that the table stores.
namespace bench {

class PeerRecords {
  public:
    // The next write; keys come round in random order.
    void next() {
        Key const& key = randomKeys()[index_];
        index_ = index_ + 1 == keyCount ? 0 : index_ + 1;
        ++version_;
        key_ = key.number();
        Entry const entry = entryOf(key, version_);
        config_ = ConfigRecord{entry.logEntry(), entry.rsrcKeys(), version_, false};
        log_ = LogRecord{version_, Asic::EntryFlags::none, 0, entry.logEntry()};
    }

    std::uint32_t key() const { return key_; }
    std::uint64_t version() const { return version_; }
    ConfigRecord const& config() const { return config_; }
    LogRecord const& log() const { return log_; }

  private:
    std::size_t index_ = 0;
    std::uint64_t version_ = 0;
    std::uint32_t key_ = 0;
    ConfigRecord config_;
    LogRecord log_;
};

template <typename Value>
std::string_view bytesOf(Value const& value) {
    return {reinterpret_cast<char const*>(&value), sizeof value};
}

} // namespace bench
