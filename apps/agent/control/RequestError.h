#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace LoamAgent {

// A request can't be done, and nothing was changed. The sentence names what is wrong; the list, if
// it is not empty, what there is instead.
class RequestError : public std::runtime_error {
  public:
    explicit RequestError(std::string const& sentence, std::vector<std::string> thereIs = {})
        : runtime_error{sentence}, thereIs_{std::move(thereIs)} {}

    std::vector<std::string> const& thereIs() const noexcept { return thereIs_; }

  private:
    std::vector<std::string> thereIs_;
};

} // namespace LoamAgent
