/// The children of one group: an immutable index that is replaced when a child comes or goes.
#pragma once

#include "varnek/concurrency/Epoch.hpp"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string_view>
#include <vector>

namespace settings::core::detail {

class SettingsNodeImpl;
using NodePtr = boost::shared_ptr<SettingsNodeImpl>;

/// Children in ascending byte order of their names, with a hash index beside them. Immutable.
class ChildIndex {
  public:
    /// `children` in any order, names distinct.
    explicit ChildIndex(std::vector<NodePtr> children);

    const std::vector<NodePtr>& inOrder() const noexcept { return children_; }
    /// Null when there is no such child.
    SettingsNodeImpl* find(std::string_view name) const noexcept;
    const NodePtr* findShared(std::string_view name) const noexcept;

  private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t order = 0; // position in children_, counted from 1; 0: free
        SettingsNodeImpl* node = nullptr;
    };
    std::size_t firstSlot(std::uint32_t hash) const noexcept;
    std::size_t slotAfter(std::size_t at) const noexcept;
    const Slot* findSlot(std::string_view name) const noexcept;

    std::vector<NodePtr> children_;
    std::vector<Slot> slots_; // at most four sevenths full
};

/// The child of that name among children in the order of their names, as getChildren() gives them: the child
/// itself, also where it is an alias. Empty when there is none.
NodePtr childCalled(std::string_view name, const std::vector<NodePtr>& sorted);

/// Readers look without a lock inside a read section; writers hold the group's lock.
class ChildTable {
  public:
    const ChildIndex* read() const noexcept { return index_.read(); }

    bool isEmpty() const noexcept { return index_.read() == nullptr; }
    NodePtr find(std::string_view name) const;
    std::vector<NodePtr> inOrder() const;

    /// False when a child of that name exists. Strong guarantee.
    bool insert(const NodePtr& child);
    /// Adds many at once, whose names are new and differ from each other. Strong guarantee.
    void insertAll(std::vector<NodePtr> children);
    /// The removed child, or null.
    NodePtr remove(std::string_view name);
    /// Puts `replacement` where a child of the same name stands; false when there is none.
    bool replace(const NodePtr& replacement);

  private:
    std::vector<NodePtr> copy(std::size_t room) const;
    void publish(std::vector<NodePtr> children);

    varnek::concurrency::Snapshot<ChildIndex> index_;
};

} // namespace settings::core::detail
