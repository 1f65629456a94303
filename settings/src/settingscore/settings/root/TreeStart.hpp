/// What has to happen around the building of the application's tree, as a higher layer says.
#pragma once

#include <memory>
#include <string>

namespace settings::core::detail {

/// Called without locks, on any thread.
class TreeStart {
  public:
    virtual ~TreeStart() = default;
    /// Whether trees may be asked for.
    virtual bool isInitialized() const = 0;
    /// The tree is about to be built; several threads may be here, and once more after a failure.
    virtual void prepare() = 0;
    /// It can be found.
    virtual void treeIsBuilt() = 0;
    /// Another tree is to take its place, which reads the files when this returns; whether or not it does,
    /// the result goes after that.
    virtual std::shared_ptr<void> treeGoes() = 0;
};

/// SettingsLibraryNotInitialized, naming `operation`, before init().
void requireInitialized(const std::string& operation);

/// Once, before anybody asks for a tree; it stays to the end of the process. Without one nothing is asked.
void setTreeStart(TreeStart* start);

} // namespace settings::core::detail
