#pragma once

#include <cstdlib>

namespace testing_support {

// A variable of the environment, for as long as it lives.
class Environment {
  public:
    Environment(char const* name, char const* value) : name_{name} { ::setenv(name, value, 1); }
    Environment(Environment const&) = delete;
    Environment& operator=(Environment const&) = delete;
    ~Environment() { ::unsetenv(name_); }

  private:
    char const* name_;
};

} // namespace testing_support
