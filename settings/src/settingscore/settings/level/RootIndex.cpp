#include "settingscore/level/RootIndex.hpp"

namespace settings::core {

RootIndex::~RootIndex() = default;
DefaultRootIndex::~DefaultRootIndex() = default;
InvalidRootIndex::~InvalidRootIndex() = default;

} // namespace settings::core
