/// Identifies one settings tree of the process.
#pragma once

#include "settingscore/Export.hpp"

#include <cstdint>

namespace settings::core {

/// A value: an index and two flags, copied and compared as a whole. Immutable apart from assignment.
class SETTINGSCORE_EXPORT RootIndex {
  public:
    /// The same as InvalidRootIndex.
    RootIndex() noexcept = default;
    RootIndex(std::int32_t index, bool namesTree, bool buildsOnDemand) noexcept
        : index_(index), namesTree_(namesTree), buildsOnDemand_(buildsOnDemand) {}
    RootIndex(const RootIndex&) noexcept = default;
    RootIndex& operator=(const RootIndex&) noexcept = default;
    virtual ~RootIndex();

    std::int32_t index() const noexcept { return index_; }
    /// A tree may stand under this index; false: asking for its root is an error.
    bool namesTree() const noexcept { return namesTree_; }
    /// Asking for the root builds a tree that is not there yet; false: only a tree that was made explicitly
    /// is found.
    bool buildsOnDemand() const noexcept { return buildsOnDemand_; }

    friend bool operator==(const RootIndex& a, const RootIndex& b) noexcept {
        return a.index_ == b.index_ && a.namesTree_ == b.namesTree_ && a.buildsOnDemand_ == b.buildsOnDemand_;
    }

  private:
    std::int32_t index_ = -1;
    bool namesTree_ = false;
    bool buildsOnDemand_ = false;
};

/// The tree of the application: index 0, both flags true.
class SETTINGSCORE_EXPORT DefaultRootIndex : public RootIndex {
  public:
    DefaultRootIndex() noexcept : RootIndex(0, true, true) {}
    ~DefaultRootIndex() override;
};

/// No tree: index -1, both flags false.
class SETTINGSCORE_EXPORT InvalidRootIndex : public RootIndex {
  public:
    InvalidRootIndex() noexcept : RootIndex(-1, false, false) {}
    ~InvalidRootIndex() override;
};

} // namespace settings::core
