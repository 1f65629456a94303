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

namespace {

/// Of names one by one: what is too much is not copied.
class PathLength {
  public:
    void add(const std::string& name) {
        bytes_ += name.size();
        if (++steps_ > mostSteps || bytes_ > mostBytesOfNames)
            throw varnek::spf::RemoteError(varnek::spf::RemoteErrorKind::malformed,
                                           "the path of a node is too long");
    }

  private:
    std::size_t steps_ = 0;
    std::size_t bytes_ = 0;
};

Path namesFrom(const Value::List& list, std::size_t first) {
    PathLength length;
    Path path;
    for (; first < list.size(); ++first) {
        length.add(list[first].asText());
        path.push_back(list[first].asText());
    }
    return path;
}

} // namespace

void requireShort(const Path& path) {
    PathLength length;
    for (const std::string& name : path)
        length.add(name);
}

Path foreignNames(const Value& value) {
    const Value::List& list = value.asList();
    if (list.empty() || !list.front().isNothing())
        return {};
    return namesFrom(list, 1);
}

Path toPath(const Value& value) {
    return namesFrom(value.asList(), 0);
}

const Value& at(const Value::List& values, std::size_t position) {
    if (position >= values.size())
        throw varnek::spf::RemoteError(varnek::spf::RemoteErrorKind::malformed,
                                       "a value is missing at position " + std::to_string(position));
    return values[position];
}

} // namespace settings::spf
