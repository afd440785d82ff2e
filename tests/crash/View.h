#pragma once

#include <LoamSystemAcl/EntryLogFixture.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What shared memory says of one table, as a process sees it that reads along.
namespace crash_test {

using namespace LoamSystemAcl::entry_log_test;

// Items by name, with what stands there; an item that isn't there has no name either.
//
//     config/KEY     "VERSION live VALUE" or "VERSION deleted VALUE"
//     log/VERSION    "write KEY VALUE", "delete KEY VALUE" or "table delete"
//     scratchpad, announced, applied     a version
//     needed/VERSION the places that the change of this version needs
using View = std::map<std::string, std::string>;

// How the items of a view are told, for expectations.
std::string live(LogVersion version, unsigned value);
std::string deleted(LogVersion version, unsigned value);
std::string write(unsigned key, unsigned value);
std::string remove(unsigned key, unsigned value);
inline char const* const tableDelete = "table delete";
std::string configItem(unsigned key);
std::string logItem(LogVersion version);
std::string neededItem(LogVersion version);

// A process of its own, as far as shared memory is concerned. What is not there yet is looked for
// again at each look.
class Onlooker {
  public:
    explicit Onlooker(std::string const& manager);
    ~Onlooker();
    View look();

  private:
    struct Mounted;
    std::unique_ptr<Mounted> mounted_;
};

std::string textOf(View const& view);

} // namespace crash_test
