/// A definition that no factory file is written from.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/exception/SettingsException.hpp"

#include <string>
#include <vector>

namespace varnek::settings {

/// One rule that a definition breaks. UTF-8.
struct DefinitionFault {
    /// Where in the document, "$" being the whole: "$.groups[1].settings[3].value". Of a file that is not
    /// JSON: "line 3".
    std::string path;
    /// "must be true or false"; reads on after the path.
    std::string rule;

    friend bool operator==(const DefinitionFault&, const DefinitionFault&) = default;
};

/// Carries every fault of one document, never none. what() has one line per fault: "<file>: <path>: <rule>".
class SETTINGSCORE_EXPORT InvalidDefinition
    : public ::settings::core::exception::Cloneable<InvalidDefinition,
                                                    ::settings::core::exception::SettingsException> {
  public:
    /// `file` names the document in messages.
    InvalidDefinition(std::string file, std::vector<DefinitionFault> faults);

    const char* what() const noexcept override;
    std::string getFile() const { return *file_; }
    /// In the order in which the document was read: a group before its settings, these before its child
    /// groups.
    std::vector<DefinitionFault> getFaults() const { return *faults_; }
    /// The lines of what().
    std::vector<std::string> getMessages() const;

  private:
    ::settings::core::exception::SharedField<std::string> file_;
    ::settings::core::exception::SharedField<std::vector<DefinitionFault>> faults_;
    ::settings::core::exception::SharedField<std::string> text_;
};

} // namespace varnek::settings
