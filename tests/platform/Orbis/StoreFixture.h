#pragma once

#include <Asic/GenId.h>
#include <Orbis/EntityManager.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <stdlib.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace Orbis {

// A root of the test's own.
class StoreFixture : public testing::Test {
  protected:
    StoreFixture() {
        std::string name = (std::filesystem::temp_directory_path() / "orbis-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        setRoot(folder);
    }

    ~StoreFixture() override {
        setRoot(formerRoot);
        std::filesystem::remove_all(folder);
    }

    static Ombra::Ptr<EntityManager> shared(char const* name = "switch") {
        return Ombra::ptrIs<EntityManager>(name, false);
    }

    static Ombra::Ptr<EntityManager> local(char const* name = "switch") {
        return Ombra::ptrIs<EntityManager>(name, true);
    }

    std::string stateFolder() const { return folder + "/switch/.state"; }

    // Empty when `action` throws no `StoreException`.
    static std::string refusal(std::function<void()> const& action) {
        try {
            action();
        } catch (StoreException const& failure) {
            return failure.what();
        }
        return {};
    }

    // Runs `work` in a child and gives its exit status, or minus the signal that ended it.
    static int inChild(std::function<int()> const& work) {
        auto const child = ::fork();
        if (child == 0) {
            int code = 99;
            try {
                code = work();
            } catch (...) {
            }
            ::_exit(code);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    Ombra::String formerRoot = root();
    std::string folder;
};

} // namespace Orbis
