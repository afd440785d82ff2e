#include <ZetSharedMem/EntityManager.h>
#include <ZetSharedMem/FileTree.h>
#include <ZetSharedMem/LocalMemory.h>
#include <ZetSharedMem/MountContext.h>

namespace ZetSharedMem {

MountContext::MountContext(EntityManager const& manager, Ombra::String path)
    : manager_{manager}, path_{std::move(path)} {}

Ombra::String MountContext::fileName() const {
    if (manager_.local()) {
        return {};
    }
    return FileTree{root().str(), manager_.name().str()}.fileName(path_.str());
}

std::shared_ptr<Slate::Store> MountContext::openForWriting(Slate::StoreSpec const& spec) const {
    if (manager_.local()) {
        return LocalMemory{manager_.name().str()}.openForWriting(path_.str(), spec);
    }
    return FileTree{root().str(), manager_.name().str()}.openForWriting(path_.str(), spec);
}

std::shared_ptr<Slate::Store> MountContext::openForReading(Slate::StoreSpec const& spec) const {
    if (manager_.local()) {
        return LocalMemory{manager_.name().str()}.openForReading(path_.str(), spec);
    }
    return FileTree{root().str(), manager_.name().str()}.openForReading(path_.str(), spec);
}

} // namespace ZetSharedMem
