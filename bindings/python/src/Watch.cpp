#include "Watch.hpp"

#include "Delivery.hpp"
#include "Gil.hpp"

#include "settingscore/PersonalFileWatch.hpp"

#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace py = pybind11;

namespace settings::python {

namespace {

using core::PersonalFileWatch;

bool isInterpreterEnding() {
#if PY_VERSION_HEX >= 0x030D0000
    return Py_IsFinalizing() != 0;
#else
    return _Py_IsFinalizing() != 0;
#endif
}

/// The watch's thread calls listeners, so the wait for its end needs a thread that is in none and does not
/// hold the interpreter lock.
class Watch {
  public:
    Watch() : watch_(withoutGil([] { return std::make_unique<PersonalFileWatch>(); })) {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    /// On any thread, also inside a listener, and while the interpreter ends.
    ~Watch() {
        if (watch_ == nullptr || isLost())
            return;
        if (Delivery::isHere() || isInterpreterEnding())
            leaveToAnotherThread();
        else
            end();
    }

    /// std::runtime_error inside a listener.
    void close() {
        if (watch_ == nullptr || isLost())
            return;
        if (Delivery::isHere())
            throw std::runtime_error("a watch cannot be closed inside a listener that runs on the thread of "
                                     "the change; one with onEngine=True can");
        end();
    }

  private:
    /// In the child of a fork there is no such thread, nobody to wait for, and nothing to free.
    bool isLost() {
        if (process_ == ::getpid())
            return false;
        static_cast<void>(watch_.release());
        return true;
    }
    void end() {
        withoutGil([ended = std::move(watch_)]() mutable { ended.reset(); });
    }
    void leaveToAnotherThread() noexcept {
        PersonalFileWatch* const left = watch_.release();
        try {
            std::thread([left] { delete left; }).detach();
        } catch (const std::system_error&) { // no thread to be had: it goes on until the process ends
        }
    }

    const ::pid_t process_ = ::getpid();
    std::unique_ptr<PersonalFileWatch> watch_;
};

} // namespace

void defineWatch(py::module_& module) {
    py::class_<Watch>(module, "PersonalFileWatch", "Takes over what other processes write, while it is open.")
        .def(py::init<>())
        .def("close", &Watch::close, "Waits for its thread. RuntimeError inside a listener.")
        .def("__enter__", [](const py::object& self) { return self; })
        .def("__exit__", [](Watch& self, const py::args&) { self.close(); });
}

} // namespace settings::python
