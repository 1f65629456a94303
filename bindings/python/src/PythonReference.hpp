/// A Python object that parts of the settings library keep, and may drop on any thread and under any of its
/// locks.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>

namespace settings::python {

/// Copied and dropped without the interpreter lock; get() needs it. The object itself is let go on the
/// engine's thread, or not at all when the engine has stopped.
class PythonReference {
  public:
    /// With the interpreter lock.
    explicit PythonReference(pybind11::object object);

    pybind11::handle get() const noexcept { return object_.get(); }

  private:
    std::shared_ptr<PyObject> object_;
};

} // namespace settings::python
