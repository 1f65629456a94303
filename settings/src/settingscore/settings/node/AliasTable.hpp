/// Where the aliases among a group's settings lead, found on first look-up.
#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace settings::core::detail {

class SettingsNodeImpl;

/// Thread-safe. Takes its own mutex for the length of a map operation.
class AliasTable {
  public:
    /// The destination found earlier, or empty when there is none or it is gone.
    boost::shared_ptr<SettingsNodeImpl> find(std::string_view name) const;
    void remember(std::string_view name, const boost::shared_ptr<SettingsNodeImpl>& destination);
    void forget(std::string_view name);
    /// True the first time, so that a missing destination is reported once.
    bool noteMissing(std::string_view name);

  private:
    mutable std::mutex mutex_;                                                           // rank "alias"
    std::map<std::string, boost::weak_ptr<SettingsNodeImpl>, std::less<>> destinations_; // empty: missing
};

} // namespace settings::core::detail
