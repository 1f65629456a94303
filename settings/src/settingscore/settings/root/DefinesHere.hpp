/// That a thread runs what defines settings: the code of toolboxes, bundles that are started for a tree.
#pragma once

namespace settings::core::detail {

/// As long as one lives, its thread builds a tree, loads a group or takes a service. Other threads may wait
/// for that, readiness callbacks among them, so that it waits for none of those. Belongs to one thread.
class DefinesHere {
  public:
    DefinesHere() noexcept { begin(); }
    DefinesHere(const DefinesHere&) = delete;
    DefinesHere& operator=(const DefinesHere&) = delete;
    ~DefinesHere() { end(); }

    /// Whether the calling thread does.
    static bool isSo() noexcept { return depth() > 0; }
    /// The same without a scope.
    static void begin() noexcept { ++depth(); }
    static void end() noexcept { --depth(); }

  private:
    static int& depth() noexcept;
};

} // namespace settings::core::detail
