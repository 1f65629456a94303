#include "settingscore/settings/node/ChildTable.hpp"

#include "settingscore/settings/node/SettingsNodeImpl.hpp"

#include <algorithm>
#include <functional>
#include <iterator>

namespace settings::core::detail {

namespace {

std::uint32_t hashOf(std::string_view name) noexcept {
    return static_cast<std::uint32_t>(std::hash<std::string_view>{}(name));
}

bool byName(const NodePtr& a, const NodePtr& b) {
    return a->getName() < b->getName();
}

} // namespace

ChildIndex::ChildIndex(std::vector<NodePtr> children) : children_(std::move(children)) {
    if (!std::is_sorted(children_.begin(), children_.end(), byName)) // as they come from files
        std::sort(children_.begin(), children_.end(), byName);
    slots_.resize(children_.size() * 7 / 4 + 1);
    for (std::size_t order = 0; order < children_.size(); ++order) {
        const std::uint32_t hash = hashOf(children_[order]->getName());
        std::size_t at = firstSlot(hash);
        while (slots_[at].order != 0)
            at = slotAfter(at);
        slots_[at] = {hash, static_cast<std::uint32_t>(order + 1), children_[order].get()};
    }
}

/// The hash as a fraction of the table, which so may be of any size.
std::size_t ChildIndex::firstSlot(std::uint32_t hash) const noexcept {
    return static_cast<std::size_t>(std::uint64_t{hash} * slots_.size() >> 32);
}

std::size_t ChildIndex::slotAfter(std::size_t at) const noexcept {
    return at + 1 == slots_.size() ? 0 : at + 1;
}

const ChildIndex::Slot* ChildIndex::findSlot(std::string_view name) const noexcept {
    const std::uint32_t hash = hashOf(name);
    for (std::size_t at = firstSlot(hash); slots_[at].order != 0; at = slotAfter(at))
        if (slots_[at].hash == hash && slots_[at].node->getName() == name)
            return &slots_[at];
    return nullptr;
}

SettingsNodeImpl* ChildIndex::find(std::string_view name) const noexcept {
    const Slot* slot = findSlot(name);
    return slot == nullptr ? nullptr : slot->node;
}

const NodePtr* ChildIndex::findShared(std::string_view name) const noexcept {
    const Slot* slot = findSlot(name);
    return slot == nullptr ? nullptr : &children_[slot->order - 1];
}

NodePtr childCalled(std::string_view name, const std::vector<NodePtr>& sorted) {
    const auto found =
        std::lower_bound(sorted.begin(), sorted.end(), name,
                         [](const NodePtr& child, std::string_view n) { return child->getName() < n; });
    return found != sorted.end() && (*found)->getName() == name ? *found : NodePtr();
}

NodePtr ChildTable::find(std::string_view name) const {
    const varnek::concurrency::ReadSection section;
    const ChildIndex* index = read();
    const NodePtr* child = index == nullptr ? nullptr : index->findShared(name);
    return child == nullptr ? NodePtr() : *child;
}

std::vector<NodePtr> ChildTable::inOrder() const {
    return copy(0);
}

std::vector<NodePtr> ChildTable::copy(std::size_t room) const {
    const varnek::concurrency::ReadSection section;
    const ChildIndex* index = read();
    std::vector<NodePtr> children;
    if (index != nullptr) {
        children.reserve(index->inOrder().size() + room);
        children = index->inOrder();
    }
    return children;
}

void ChildTable::publish(std::vector<NodePtr> children) {
    index_.publish(children.empty() ? nullptr : std::make_unique<const ChildIndex>(std::move(children)));
}

bool ChildTable::insert(const NodePtr& child) {
    if (find(child->getName()) != nullptr)
        return false;
    auto children = copy(1);
    children.push_back(child);
    publish(std::move(children));
    return true;
}

void ChildTable::insertAll(std::vector<NodePtr> children) {
    auto all = copy(children.size());
    std::move(children.begin(), children.end(), std::back_inserter(all));
    publish(std::move(all));
}

NodePtr ChildTable::remove(std::string_view name) {
    auto children = copy(0);
    const auto found = std::find_if(children.begin(), children.end(),
                                    [&](const NodePtr& c) { return c->getName() == name; });
    if (found == children.end())
        return {};
    NodePtr removed = *found;
    children.erase(found);
    publish(std::move(children));
    return removed;
}

bool ChildTable::replace(const NodePtr& replacement) {
    auto children = copy(0);
    const auto found = std::find_if(children.begin(), children.end(),
                                    [&](const NodePtr& c) { return c->getName() == replacement->getName(); });
    if (found == children.end())
        return false;
    *found = replacement;
    publish(std::move(children));
    return true;
}

} // namespace settings::core::detail
