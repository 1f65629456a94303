#include "PythonReference.hpp"

#include "Engine.hpp"
#include "Gil.hpp"

namespace settings::python {

PythonReference::PythonReference(pybind11::object object)
    : object_(object.release().ptr(), [](PyObject* dropped) {
          Engine::instance().post([dropped] {
              const GilLock gil;
              orSleep([dropped] { Py_DECREF(dropped); });
          });
      }) {}

} // namespace settings::python
