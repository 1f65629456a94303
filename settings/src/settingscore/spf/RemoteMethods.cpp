#include "settingscore/spf/RemoteMethods.hpp"

#include "settingscore/spf/SpfLog.hpp"
#include "spf/RemoteError.hpp"

#include <utility>

namespace settings::spf {

varnek::log::Channel spfLog("settings::core::spf");

std::int64_t flagsOf(const core::detail::SettingsNodeImpl& node) {
    return static_cast<std::int64_t>((node.isLeafNode() ? flag::leaf : 0) |
                                     (node.isVisible() ? flag::visible : 0) |
                                     (node.isReadOnly() ? flag::readOnly : 0));
}

Value toValue(const Path& path) {
    return Value(Value::List(path.begin(), path.end()));
}

Value foreignHandle(const Path& names) {
    Value::List list{Value()};
    list.insert(list.end(), names.begin(), names.end());
    return Value(std::move(list));
}

Path foreignNames(const Value& value) {
    const Value::List& list = value.asList();
    if (list.empty() || !list.front().isNothing())
        return {};
    return toPath(Value(Value::List(list.begin() + 1, list.end())));
}

Path toPath(const Value& value) {
    Path path;
    for (const Value& name : value.asList())
        path.push_back(name.asText());
    return path;
}

const Value& at(const Value::List& values, std::size_t position) {
    if (position >= values.size())
        throw varnek::spf::RemoteError(varnek::spf::RemoteErrorKind::malformed,
                                       "a value is missing at position " + std::to_string(position));
    return values[position];
}

} // namespace settings::spf
