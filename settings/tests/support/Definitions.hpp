/// Definitions for tests, and a record of what is told of additions.
#pragma once

#include "support/TestTree.hpp"

#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/validation/FactorySettingProperties.hpp"
#include "varnek/event/EventManager.hpp"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace settings::test {

using core::RunTimeDefaultVariant;
using core::Settings;
using core::SettingsAddNodeEvent;
using core::ValidatorVariant;
using core::detail::FactorySettingProperties;

/// Refuses exactly that number.
inline ValidatorVariant refusing(double what) {
    return core::CPPValidator(
        [what](const boost::shared_ptr<const Settings>&, const std::string&, const Array& value) {
            if (value.numberOfElements() == 1 && value.element<double>() == what)
                throw std::runtime_error("refused");
        },
        "tests", "refusing");
}

inline FactorySettingProperties definitionOf(const Array& value, ValidatorVariant validator = {},
                                             RunTimeDefaultVariant function = {}) {
    return {true, false, value, std::move(validator), std::move(function), false, false, {}};
}

/// What is told of an addition.
struct Additions {
    Additions() {
        connection = varnek::event::EventManager::instance().subscribe(
            u"settings::core::SettingsAddNodeEvent", [this](const varnek::event::EventHandle& event) {
                const auto& add = dynamic_cast<const SettingsAddNodeEvent&>(*event);
                lines.push_back(add.getParentObj()->getFullName() + "/" + add.getObj()->getName() +
                                (add.syncCoreSettingsTreeRequired() ? " sync" : ""));
            });
    }
    std::vector<std::string> lines;
    varnek::event::ScopedConnection connection;
};

} // namespace settings::test
