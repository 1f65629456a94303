#include "settingscore/settings/node/FullNamePath.hpp"

#include <algorithm>

namespace settings::core::detail {

std::string_view nextName(std::string_view& path) noexcept {
    const std::size_t dot = path.find('.');
    const std::string_view name = path.substr(0, dot);
    path = dot == std::string_view::npos ? std::string_view() : path.substr(dot + 1);
    return name;
}

NodePtr walk(const NodePtr& start, std::string_view fullName) {
    NodePtr node = start;
    bool more = !fullName.empty();
    while (node != nullptr && more) {
        more = fullName.find('.') != std::string_view::npos;
        node = node->getChild(nextName(fullName), true);
    }
    return node;
}

NodePtr walkWithoutAliases(const NodePtr& start, std::string_view fullName) {
    NodePtr node = start;
    bool more = !fullName.empty();
    while (node != nullptr && more) {
        more = fullName.find('.') != std::string_view::npos;
        const std::string_view name = nextName(fullName);
        const auto children = node->getChildren();
        const auto found = std::find_if(children.begin(), children.end(),
                                        [&](const NodePtr& child) { return child->getName() == name; });
        node = found == children.end() ? NodePtr() : *found;
    }
    return node;
}

} // namespace settings::core::detail
