#include "settingscore/upgrade/SettingsFileChange.hpp"

#include <utility>

namespace settings::core {

SettingsFileChange::SettingsFileChange() : SettingsFileChange(ReleaseCompatOps::invalid, {}, {}) {}

SettingsFileChange::SettingsFileChange(ReleaseCompatOps kind, std::vector<std::string> inputs,
                                       std::vector<std::string> outputs)
    : kind_(kind), name_(nameOf(kind)), inputs_(std::move(inputs)), outputs_(std::move(outputs)),
      operation_(ReleaseCompatOperation::of(kind)) {}

SettingsFileChange::SettingsFileChange(std::string_view operationName, std::vector<std::string> inputs,
                                       std::vector<std::string> outputs)
    : kind_(releaseCompatOpOf(operationName)), name_(operationName), inputs_(std::move(inputs)),
      outputs_(std::move(outputs)), operation_(ReleaseCompatOperation::of(kind_)) {}

} // namespace settings::core
