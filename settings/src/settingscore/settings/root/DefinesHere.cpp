#include "settingscore/settings/root/DefinesHere.hpp"

namespace settings::core::detail {

int& DefinesHere::depth() noexcept {
    static thread_local int depth = 0;
    return depth;
}

int& BuildsHere::depth() noexcept {
    static thread_local int depth = 0;
    return depth;
}

} // namespace settings::core::detail
