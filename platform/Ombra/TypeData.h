#pragma once

// Which class an object is, in the words of the inspection layer: a module (the classes of one
// source unit) and the class's place in it. What `typeData()` of every node gives.
namespace Ombra {

struct ModuleInspectData;

struct TypeData {
    ModuleInspectData const* module = nullptr; // null for a class that takes no part in inspection
    int index = 0;                             // place of the class within the module

    friend bool operator==(TypeData const&, TypeData const&) = default;
};

} // namespace Ombra
