#include <Zet/GenericIfImpl.h>

#include <fmt/format.h>

namespace Zet {

BadAttributeValueException::~BadAttributeValueException() = default;

void GenericIfImpl::throwSetFalseValueException(std::string_view className) {
    throw BadAttributeValueException{
        fmt::format("A set of {} was given a key with the value false: a set holds a key or does "
                    "not. Give true to add the key, and delete it to take it out.",
                    className)};
}

} // namespace Zet
