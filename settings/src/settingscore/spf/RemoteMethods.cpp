#include "settingscore/spf/RemoteMethods.hpp"

#include "settingscore/spf/SpfLog.hpp"
#include "spf/RemoteError.hpp"

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
