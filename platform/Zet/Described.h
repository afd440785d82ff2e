#pragma once

// The description of a class to the inspection layer; see Describe.h. A class that tells where its
// attributes are stored has it as a friend.
namespace Zet {

template <typename T>
struct Described;

} // namespace Zet
