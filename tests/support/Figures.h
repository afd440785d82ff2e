#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>

// How much of something a test has done, told at its end in a line that `./test` gathers and adds
// up with those of the other tests:
//
//     figures: 12 kills, nothing lost
namespace testing_support {

class Figures {
  public:
    explicit Figures(std::string what) : what_{std::move(what)} {}
    Figures(Figures const&) = delete;
    Figures& operator=(Figures const&) = delete;
    ~Figures() {
        std::printf("figures: %llu %s, %s lost\n", static_cast<unsigned long long>(count),
                    what_.c_str(), testing::Test::HasFailure() ? "something" : "nothing");
    }

    std::uint64_t count = 0;

  private:
    std::string what_;
};

} // namespace testing_support
