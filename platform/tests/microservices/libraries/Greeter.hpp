/// The service of the test bundle.
#pragma once

#include <string>

namespace test {

class Greeter {
  public:
    virtual ~Greeter() = default;
    virtual std::string greet() const = 0;
};

} // namespace test
