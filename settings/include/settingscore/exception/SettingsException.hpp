/// The two exception classes that are called SettingsException.
///
/// `settings::core::exception::SettingsException` is the base of every typed failure of this library. A
/// caller catches a failure by its class and reads the names and nodes concerned from its accessors; what()
/// is a fixed English sentence, UTF-8, not localised.
///
/// `settings::core::SettingsException` is for code outside the library: a validation function of a plug-in
/// throws it to report its own error, and the library passes it on unchanged.
///
/// All exceptions are immutable after construction and may be read from any thread. Copying one never throws.
/// The handles that they hold are shared, so a copy on another thread keeps the nodes concerned alive.
/// Accessors return copies; a handle may be empty where nothing was known. clone() and rethrow() carry the
/// most derived object.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/exception/SharedField.hpp"
#include "varnek/exception/Exception.hpp"

#include <boost/shared_ptr.hpp>

#include <string>

namespace settings::core {

class Settings;

namespace exception {

using varnek::exception::Cloneable;

/// The node that a failure is about.
using ObjectHandle = boost::shared_ptr<const Settings>;

class SETTINGSCORE_EXPORT SettingsException : public varnek::exception::Exception {
  public:
    ~SettingsException() override;
    const char* what() const noexcept override = 0;

  protected:
    SettingsException() = default;
    SettingsException(const SettingsException&) = default;
    SettingsException& operator=(const SettingsException&) = default;
};

} // namespace exception

class SETTINGSCORE_EXPORT SettingsException
    : public varnek::exception::Cloneable<SettingsException, varnek::exception::Exception> {
  public:
    /// `msgId` identifies the message (component and key), `message` is the text of what(), `exceptionKey`
    /// names the failure. All three are chosen by the thrower; UTF-8.
    SettingsException(std::string msgId, std::string message, std::string exceptionKey);

    const char* what() const noexcept override;
    std::string msgId() const;
    std::string exceptionKey() const;

  private:
    core::exception::SharedField<std::string> msgId_;
    core::exception::SharedField<std::string> message_;
    core::exception::SharedField<std::string> exceptionKey_;
};

} // namespace settings::core
