#include "settingscore/settings/node/FullNamePath.hpp"

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
    const std::size_t dot = fullName.rfind('.');
    const NodePtr parent = dot == std::string_view::npos ? start : walk(start, fullName.substr(0, dot));
    if (parent == nullptr)
        return {};
    const std::string_view last = dot == std::string_view::npos ? fullName : fullName.substr(dot + 1);
    for (const NodePtr& child : parent->getChildren())
        if (child->getName() == last)
            return child;
    return {};
}

} // namespace settings::core::detail
