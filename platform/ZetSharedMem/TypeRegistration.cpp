#include <ZetSharedMem/TypeRegistration.h>

#include <map>

namespace ZetSharedMem {

namespace {

std::map<Ombra::String, PrepareMount>& types() {
    static auto& instance = *new std::map<Ombra::String, PrepareMount>; // outlives every library
    return instance;
}

} // namespace

void registerType(Ombra::String const& typeName, PrepareMount prepare) {
    types().insert_or_assign(typeName, prepare);
}

PrepareMount registeredType(Ombra::String const& typeName) {
    auto const found = types().find(typeName);
    return found == types().end() ? nullptr : found->second;
}

} // namespace ZetSharedMem
