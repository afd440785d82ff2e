#pragma once

#include <Ombra/Node.h>

// A node that tells how many of its kind live.
namespace OmbraTest {

struct Counted : Ombra::Node {
    static inline int live = 0;

    int value;

    explicit Counted(int number = 0) : value{number} { ++live; }
    ~Counted() override { --live; }
};

} // namespace OmbraTest
