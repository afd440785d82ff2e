#pragma once

#include <Asic/Identifiers.h>
#include <Ombra/Node.h>
#include <Ombra/Publisher.h>
#include <Zet/Tracked.h>

// What a table, all its units together, shows of its hardware: whether writes are outstanding.
namespace Asic {

class LOAM_EXPORT OrderedSwTableStatus : public Zet::Tracked<OrderedSwTableStatus, Ombra::Node> {
  public:
    static constexpr Ombra::FieldId pendingHwWritesField{0x82};

    explicit OrderedSwTableStatus(SwTableId tableId);
    ~OrderedSwTableStatus() override;
    Ombra::TypeData typeData() const override;

    Ombra::Publisher* publisher() const override;

    SwTableId tableId() const noexcept { return tableId_; }

    // True while the table holds something that the hardware has not confirmed.
    bool pendingHwWrites() const noexcept { return pendingHwWrites_; }

    // Publishes on a change, with the former value.
    void pendingHwWritesIs(bool pendingHwWrites);

  private:
    SwTableId tableId_;
    bool pendingHwWrites_ = false;
    mutable Ombra::Publisher publisher_;
};

} // namespace Asic
