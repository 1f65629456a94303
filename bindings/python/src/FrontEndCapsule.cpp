#include "FrontEndCapsule.hpp"

#include "Engine.hpp"

namespace settings::python {

pybind11::capsule frontEndCapsule() {
    static const FrontEndFunctions functions{
        [](const std::function<void()>& job) { Engine::instance().run(job); }};
    return pybind11::capsule(&functions, frontEndCapsuleName);
}

} // namespace settings::python
