#pragma once

#include <Ombra/Node.h>
#include <Zet/System.h>
#include <Zet/Tracked.h>

#include <cstdint>

// What one table object has done since it was made. Counts of operations, not of entries; they only
// grow, and die with the process.
namespace Asic {

class LOAM_EXPORT SwTableStats : public Zet::Tracked<SwTableStats, Ombra::Node> {
  public:
    SwTableStats();
    ~SwTableStats() override;
    Ombra::TypeData typeData() const override;

    void entryWriteCntInc(std::uint64_t by) noexcept { entryWriteCnt_ += by; }
    void entryRemoveCntInc(std::uint64_t by) noexcept { entryRemoveCnt_ += by; }
    void commitCntInc(std::uint64_t by) noexcept { commitCnt_ += by; }
    void updateCntInc(std::uint64_t by) noexcept { updateCnt_ += by; }
    void tableClearCntInc(std::uint64_t by) noexcept { tableClearCnt_ += by; }
    void suppressedWriteCntInc(std::uint64_t by) noexcept { suppressedWriteCnt_ += by; }
    void suppressCheckDiffCntInc(std::uint64_t by) noexcept { suppressCheckDiffCnt_ += by; }

    std::uint64_t entryWriteCnt() const noexcept { return entryWriteCnt_; }
    std::uint64_t entryRemoveCnt() const noexcept { return entryRemoveCnt_; }
    std::uint64_t commitCnt() const noexcept { return commitCnt_; } // refused ones too
    std::uint64_t updateCnt() const noexcept { return updateCnt_; }
    std::uint64_t tableClearCnt() const noexcept { return tableClearCnt_; }
    std::uint64_t suppressedWriteCnt() const noexcept { return suppressedWriteCnt_; }
    // Writes that were looked at for suppression and differed from what was stored.
    std::uint64_t suppressCheckDiffCnt() const noexcept { return suppressCheckDiffCnt_; }

    // When the last commit ended, in UTC; the epoch's start before the first.
    Ombra::Time lastCommitTime{};

  private:
    std::uint64_t entryWriteCnt_ = 0;
    std::uint64_t entryRemoveCnt_ = 0;
    std::uint64_t commitCnt_ = 0;
    std::uint64_t updateCnt_ = 0;
    std::uint64_t tableClearCnt_ = 0;
    std::uint64_t suppressedWriteCnt_ = 0;
    std::uint64_t suppressCheckDiffCnt_ = 0;
};

} // namespace Asic
