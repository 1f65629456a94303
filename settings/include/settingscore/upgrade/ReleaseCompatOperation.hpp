/// One kind of change between releases, as it is carried out on personal settings.
///
/// There is one object per kind, immutable and shared; the change says which paths are meant. The personal
/// tree is what one file of level "user" holds, before any of it is in the settings tree.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/upgrade/ReleaseCompatOps.hpp"

#include <memory>

namespace settings::core {

class SettingsFileChange;

namespace detail {
class PersonalTree;
struct PersonalNode;
} // namespace detail

/// Thread-safe; a personal tree is worked on by one thread. The operations keep their order: their slots are
/// part of the interface.
class SETTINGSCORE_EXPORT ReleaseCompatOperation {
  public:
    /// Whether the change can be applied; changes nothing. Anything but "succeeded" is the change's result.
    /// Raises what forbids it (exception/CatalogueFailures.hpp, namespace config).
    virtual ResultStatus preValidate(const SettingsFileChange& change, detail::PersonalTree& tree) const = 0;
    /// Carries the change out. What it raises leaves everything as it was.
    virtual ResultStatus apply(const SettingsFileChange& change, detail::PersonalTree& tree) const = 0;
    /// Moves what is at one place to another one, perhaps in the file of another top-level group.
    /// GroupOrSettingNameAlreadyExists; both are as they were.
    virtual void moveValue(const detail::PersonalNode& from, const detail::PersonalNode& to) const;

    virtual ~ReleaseCompatOperation();
    ReleaseCompatOperation(const ReleaseCompatOperation&) = delete;
    ReleaseCompatOperation& operator=(const ReleaseCompatOperation&) = delete;

    /// The operation of that kind.
    static std::shared_ptr<const ReleaseCompatOperation> of(ReleaseCompatOps kind);

  protected:
    ReleaseCompatOperation() = default;
};

} // namespace settings::core
