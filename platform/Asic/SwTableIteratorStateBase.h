#pragma once

#include <Ombra/Export.h>
#include <Ombra/Node.h>

#include <cstdint>

// Where an iteration over a table stands, apart from its bookmark: one byte of flags.
//
// BIT  FLAG
//   1  entryValid     the last step delivered an entry
//   2  inAddColl      the next step reads the pending writes
//   4  inTblCfg       the next step reads the configuration table
//   8  skipTblCfg     a remove-all was pending at the start: never enter the configuration table
//  16  bookmarkValid  the bookmark holds a position
//
// `inAddColl` and `inTblCfg` are never set together; both clear means that the iteration has ended.
namespace Asic {

class SwTableIteratorFlags {
  public:
    std::uint8_t bits() const noexcept { return bits_; }

    bool entryValid() const noexcept { return has(entryValidBit); }
    bool inAddColl() const noexcept { return has(inAddCollBit); }
    bool inTblCfg() const noexcept { return has(inTblCfgBit); }
    bool skipTblCfg() const noexcept { return has(skipTblCfgBit); }
    bool bookmarkValid() const noexcept { return has(bookmarkValidBit); }

    void entryValidIs(bool on) noexcept { set(entryValidBit, on); }
    void inAddCollIs(bool on) noexcept { set(inAddCollBit, on); }
    void inTblCfgIs(bool on) noexcept { set(inTblCfgBit, on); }
    void skipTblCfgIs(bool on) noexcept { set(skipTblCfgBit, on); }
    void bookmarkValidIs(bool on) noexcept { set(bookmarkValidBit, on); }

  private:
    static constexpr std::uint8_t entryValidBit = 1;
    static constexpr std::uint8_t inAddCollBit = 2;
    static constexpr std::uint8_t inTblCfgBit = 4;
    static constexpr std::uint8_t skipTblCfgBit = 8;
    static constexpr std::uint8_t bookmarkValidBit = 16;

    bool has(std::uint8_t bit) const noexcept { return (bits_ & bit) != 0; }
    void set(std::uint8_t bit, bool on) noexcept {
        bits_ = static_cast<std::uint8_t>(on ? bits_ | bit : bits_ & ~bit);
    }

    std::uint8_t bits_ = 0;
};

class LOAM_EXPORT SwTableIteratorStateBase : public Ombra::Node {
  public:
    ~SwTableIteratorStateBase() override;

    SwTableIteratorFlags& state() noexcept { return state_; }
    SwTableIteratorFlags const& state() const noexcept { return state_; }

    // For who knows no table class.
    bool entryValid() const noexcept { return state_.entryValid(); }
    std::uint8_t stateBits() const noexcept { return state_.bits(); }

  private:
    SwTableIteratorFlags state_;
};

// `T` is the table class. The table is not counted: it outlives its iterations.
template <typename T>
class LOAM_EXPORT SwTableIteratorStateOf : public SwTableIteratorStateBase {
  public:
    T const* swTable() const noexcept { return swTable_; }
    void swTableIs(T const* swTable) noexcept { swTable_ = swTable; }

  private:
    T const* swTable_ = nullptr;
};

} // namespace Asic
