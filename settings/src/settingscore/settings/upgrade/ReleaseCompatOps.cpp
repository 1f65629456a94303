#include "settingscore/upgrade/ReleaseCompatOps.hpp"

#include "settingscore/settings/file/SettingsFileKeys.hpp"

namespace settings::core {

using namespace detail;

std::string_view nameOf(ReleaseCompatOps kind) noexcept {
    switch (kind) {
    case ReleaseCompatOps::move:
        return keys::move;
    case ReleaseCompatOps::remove:
        return keys::remove;
    case ReleaseCompatOps::invalid:
        break;
    }
    return {};
}

ReleaseCompatOps releaseCompatOpOf(std::string_view name) noexcept {
    for (const auto kind : {ReleaseCompatOps::move, ReleaseCompatOps::remove})
        if (name == nameOf(kind))
            return kind;
    return ReleaseCompatOps::invalid;
}

std::string_view nameOf(ResultStatus status) noexcept {
    switch (status) {
    case ResultStatus::succeeded:
        return "Succeeded";
    case ResultStatus::failed:
        return "Failed";
    case ResultStatus::skipped:
        break;
    }
    return "Skipped";
}

} // namespace settings::core
