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

/// As long as one lives, its thread builds a tree or starts what trees are built from: bundles that are
/// started there must not ask for the tree. Belongs to one thread.
class BuildsHere {
  public:
    BuildsHere() noexcept { ++depth(); }
    BuildsHere(const BuildsHere&) = delete;
    BuildsHere& operator=(const BuildsHere&) = delete;
    ~BuildsHere() { --depth(); }

    /// Whether the calling thread does.
    static bool isSo() noexcept { return depth() > 0; }

  private:
    static int& depth() noexcept;

    const DefinesHere definesHere_{};
};

} // namespace settings::core::detail
