/// The library's own way between a handle and its node.
#pragma once

#include "settingscore/Settings.hpp"

namespace settings::core::detail {

struct SettingsAccess {
    static boost::shared_ptr<Settings> wrap(const boost::shared_ptr<SettingsNodeImpl>& node) {
        return Settings::wrapImpl(node);
    }
    static const boost::shared_ptr<SettingsNodeImpl>& node(Settings& handle) { return handle.impl_; }
    static boost::shared_ptr<const SettingsNodeImpl> node(const Settings& handle) { return handle.impl_; }
    /// Of an event or exception, whose handles are constant.
    static boost::shared_ptr<SettingsNodeImpl> mutableNode(const Settings& handle) { return handle.impl_; }
    static Settings::Failures multipleSet(const Settings::Pairs& values, std::string_view level,
                                          bool collect) {
        return Settings::multipleSetImpl(values, level, collect);
    }
    static Settings::Failures multipleValidate(const Settings::Pairs& values, bool collect) {
        return Settings::multipleValidateImpl(values, collect);
    }
};

} // namespace settings::core::detail
