/// One change between releases that a factory file declares.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/upgrade/ReleaseCompatOperation.hpp"
#include "settingscore/upgrade/ReleaseCompatOps.hpp"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core {

/// A value. Paths are full names, from the top-level group down, UTF-8.
class SETTINGSCORE_EXPORT SettingsFileChange {
  public:
    /// The invalid kind, without paths.
    SettingsFileChange();
    SettingsFileChange(ReleaseCompatOps kind, std::vector<std::string> inputs,
                       std::vector<std::string> outputs);
    /// A name that is neither "move" nor "remove" gives the invalid kind, and is kept.
    SettingsFileChange(std::string_view operationName, std::vector<std::string> inputs,
                       std::vector<std::string> outputs);

    ReleaseCompatOps getOperation() const noexcept { return kind_; }
    const std::string& getOperationName() const noexcept { return name_; }
    /// What the change reads, and what it writes.
    const std::vector<std::string>& getInputs() const noexcept { return inputs_; }
    const std::vector<std::string>& getOutputs() const noexcept { return outputs_; }
    /// Never empty.
    std::shared_ptr<const ReleaseCompatOperation> getOperationObject() const { return operation_; }

    bool operator==(const SettingsFileChange&) const = default;

  private:
    ReleaseCompatOps kind_;
    std::string name_;
    std::vector<std::string> inputs_;
    std::vector<std::string> outputs_;
    std::shared_ptr<const ReleaseCompatOperation> operation_; // one per kind
};

} // namespace settings::core
