#include <fmt/format.h>

#include <algorithm>
#include <apps/loamctl/Context.h>
#include <apps/loamctl/TableName.h>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace LoamCtl {

namespace {

void checkFolder(std::string const& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            throw UsageError{fmt::format("{}: there is no such folder; an agent makes it when it "
                                         "starts (look at --root and --manager)",
                                         path)};
        }
        throw UsageError{fmt::format("{}: {}", path, std::strerror(errno))};
    }
    if (!S_ISDIR(status.st_mode)) {
        throw UsageError{fmt::format("{}: it is no folder", path)};
    }
    if (status.st_uid != ::geteuid()) {
        throw UsageError{fmt::format("{}: it belongs to user {} and this is user {}; run as the "
                                     "agent's user",
                                     path, status.st_uid, ::geteuid())};
    }
    if (auto const mode = status.st_mode & 07777U; mode != 0700) {
        throw UsageError{fmt::format("{}: its mode is {:04o}, expected 0700; chmod 0700 it if its "
                                     "content can be trusted",
                                     path, mode)};
    }
}

std::string checkedFolder(Options const& options) {
    checkFolder(options.root);
    auto folder = options.root + "/" + options.manager;
    checkFolder(folder);
    return folder;
}

Ombra::Ptr<ZetSharedMem::EntityManager> openManager(Options const& options) {
    ZetSharedMem::setRoot(Ombra::String{options.root});
    return ZetSharedMem::EntityManager::getEntityManager(Ombra::String{options.manager}, false);
}

} // namespace

Context::Context(Options options)
    : options_{std::move(options)}, folder_{checkedFolder(options_)},
      manager_{openManager(options_)}, tables_{allTables(manager_)}, group_{manager_, folder_} {}

Table& Context::table() const {
    std::vector<std::string_view> names;
    for (auto const& table : tables_) {
        names.push_back(table->name());
    }
    auto const found = findTableName(options_.table, names);
    if (auto const* complaint = std::get_if<std::string>(&found)) {
        throw UsageError{*complaint};
    }
    return *tables_[std::get<std::size_t>(found)];
}

Table* Context::tableOf(Asic::SwTableId tableId) const {
    auto const found = std::ranges::find(tables_, tableId, &Table::tableId);
    return found == tables_.end() ? nullptr : found->get();
}

Table* Context::tableOf(std::string_view name) const {
    auto const found = std::ranges::find(tables_, name, &Table::name);
    return found == tables_.end() ? nullptr : found->get();
}

} // namespace LoamCtl
