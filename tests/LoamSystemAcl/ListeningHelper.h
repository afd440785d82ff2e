#pragma once

#include "WritePath.h"

#include <functional>
#include <utility>

namespace LoamSystemAcl::write_path_test {

// A client's helper that tells what it is called with.
class ListeningHelper : public EntryPath::Helper {
  public:
    using Listener = std::function<void(Ombra::Ptr<EntryPath::Wrapper> const&, bool isDelete)>;
    explicit ListeningHelper(Listener listener) : listener_{std::move(listener)} {}

    void finalizeOnSuccess(Ombra::Ptr<EntryPath::Wrapper> const& entry, bool isDelete,
                           Ombra::Ptr<EntryPath::SwTable> const&) override {
        listener_(entry, isDelete);
    }

  private:
    Listener listener_;
};

} // namespace LoamSystemAcl::write_path_test
