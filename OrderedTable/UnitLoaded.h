#pragma once

#include <Burrow/Entry.h>
#include <Ombra/ModuleInspectData.h>

// What a table's source unit does when its library is loaded: sets the alignment of buffers in
// shared memory, if its table does that (the catalogue says), and announces its inspection module.
// The first unit to come sets the alignment, the others find it set.
namespace OrderedTable {

struct UnitLoaded {
    UnitLoaded(Ombra::ModuleInspectData const& module, bool alignsAtLoad) {
        if (alignsAtLoad) {
            if (Burrow::Entry::BUFFER_ALIGNMENT == 0) {
                Burrow::Entry::BUFFER_ALIGNMENT = Burrow::Entry::runtimeBufferAlignment();
            }
            static_cast<void>(Burrow::Entry::runtimeBufferAlignment());
        }
        Ombra::ModuleInspectData::loaded(module);
    }
};

} // namespace OrderedTable
