#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <support/ChildProcess.h>
#include <thread>
#include <vector>

// The project's programs on tables of their own, for process tests.
//
//     Programs programs;
//     programs.policyIs(policyOf(200));
//     auto hw = programs.startHw();
//     EXPECT_EQ(programs.runAgent({"--once"}).status, 0);
//
// LOAM_PROGRAMS is the folder that they are built in.
namespace testing_support {

// Rules 1 to `count` of one IPv4 set; `port` is in each of them.
inline std::string policyOf(unsigned count, unsigned port = 179) {
    std::string entries;
    for (unsigned sequence = 1; sequence <= count; ++sequence) {
        auto const number = std::to_string(sequence);
        entries += (entries.empty() ? "" : ",") +
                   (R"({"sequence-id":)" + number + R"(,"config":{"sequence-id":)" + number) +
                   R"(},"ipv4":{"config":{"protocol":"openconfig-packet-match-types:IP_TCP"}},)" +
                   R"("transport":{"config":{"destination-port":)" + std::to_string(port) +
                   R"(}},"actions":{"config":{"forwarding-action":"ACCEPT"}}})";
    }
    return R"({"openconfig-acl:acl":{"acl-sets":{"acl-set":[{"name":"s",)"
           R"("type":"openconfig-acl:ACL_IPV4","config":{"name":"s",)"
           R"("type":"openconfig-acl:ACL_IPV4"},"acl-entries":{"acl-entry":[)" +
           entries + "]}}]}}}";
}

class Programs {
  public:
    Programs() : root_{folder_ / "root"}, policyFile_{folder_ / "policy.json"} {}

    std::string const& root() const { return root_; }
    std::string managerFolder() const { return root_ + "/LoamSystemAcl"; }
    std::string const& policyFile() const { return policyFile_; }
    std::string dumpFile() const { return folder_ / "hw.dump"; }
    std::string scratch(std::string const& name) const { return folder_ / name; }

    void policyIs(std::string const& text) const { contentIs(policyFile_, text); }

    // By the generator: `perType` entries of each type.
    void generatedPolicyIs(unsigned perType, unsigned seed = 1,
                           std::string const& types = "ipv4,ipv6,l2,mpls,vxlan,tunnel,olp") {
        auto const made = run({program("loam-policy-gen"), "-n", std::to_string(perType), "-s",
                               std::to_string(seed), "-t", types, "-o", policyFile_});
        EXPECT_EQ(made.status, 0) << made.err;
    }

    std::vector<std::string> agentCommand(std::vector<std::string> const& more = {}) const {
        return with({program("loam-agent"), "--root", root_, "--policy", policyFile_}, more);
    }

    std::unique_ptr<ChildProcess> startAgent(std::vector<std::string> const& more = {}) {
        return start(agentCommand(more));
    }
    Ran runAgent(std::vector<std::string> const& more = {"--once"}) {
        return run(agentCommand(more));
    }

    std::unique_ptr<ChildProcess> startHw(std::vector<std::string> const& more = {}) {
        return start(with({program("loam-hw"), "--root", root_, "--dump", dumpFile()}, more));
    }

    Ran ctl(std::vector<std::string> const& arguments) {
        return run(with({program("loamctl"), "--root", root_}, arguments));
    }

    // Ends the hardware side once it says that it has all and has compared all, and compares the
    // dump that it leaves with the tables. What a hardware side that was killed had said is of
    // another process.
    Ran endHwAndCompare(ChildProcess& hw) {
        auto const pid = "\"pid\": " + std::to_string(hw.pid()) + ",";
        auto const saysThatItIsSettled = [&] {
            auto const said = contentOf(managerFolder() + "/hw-stat.json");
            return said.find(pid) != std::string::npos &&
                   said.find("\"settled\": true") != std::string::npos;
        };
        for (int tries = 0; tries < 1000 && !saysThatItIsSettled(); ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds{10});
        }
        hw.signal(SIGTERM);
        EXPECT_EQ(hw.wait(), 0) << hw.err();
        return ctl({"compare", dumpFile()});
    }

    Ran run(std::vector<std::string> const& command) { return runProgram(command, stem()); }
    std::unique_ptr<ChildProcess> start(std::vector<std::string> const& command) {
        return std::make_unique<ChildProcess>(command, stem());
    }

    static std::string program(std::string const& name) {
        return std::string{LOAM_PROGRAMS} + "/" + name;
    }

  private:
    static std::vector<std::string> with(std::vector<std::string> first,
                                         std::vector<std::string> const& more) {
        first.insert(first.end(), more.begin(), more.end());
        return first;
    }

    std::string stem() { return folder_ / ("process" + std::to_string(++processes_)); }

    ScratchFolder folder_;
    std::string root_;
    std::string policyFile_;
    unsigned processes_ = 0;
};

} // namespace testing_support
