#pragma once

#include <apps/loamctl/Group.h>
#include <apps/loamctl/Options.h>
#include <apps/loamctl/Table.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace LoamCtl {

// What a person asked for can't be done; the sentence tells why.
class UsageError : public std::runtime_error {
  public:
    using runtime_error::runtime_error;
};

// The shared memory of one manager, opened for a command. The constructor checks that the folders
// are there and are this user's own, and throws `UsageError` otherwise.
class Context {
  public:
    explicit Context(Options options);

    Options const& options() const { return options_; }
    std::string const& folder() const { return folder_; } // of the manager
    std::vector<std::unique_ptr<Table>> const& tables() const { return tables_; }
    Group& group() { return group_; }

    // The table of the command line. Throws `UsageError`.
    Table& table() const;

    // Null when there is none.
    Table* tableOf(Asic::SwTableId tableId) const;
    Table* tableOf(std::string_view name) const;

  private:
    Options options_;
    std::string folder_;
    Ombra::Ptr<ZetSharedMem::EntityManager> manager_;
    std::vector<std::unique_ptr<Table>> tables_;
    Group group_;
};

} // namespace LoamCtl
