/// Calls from the settings library into Python on threads that others may wait for.
#pragma once

namespace settings::python {

/// Stands on the stack of a thread that calls a listener or a callable validator.
class Delivery {
  public:
    Delivery() { ++depth(); }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;
    ~Delivery() { --depth(); }

    /// Whether this thread is in one.
    static bool isHere() { return depth() != 0; }

  private:
    static int& depth() {
        static thread_local int depth = 0;
        return depth;
    }
};

} // namespace settings::python
