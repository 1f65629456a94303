/// A top-level group that is declared, whose definitions and values are read when somebody first needs them.
///
/// Name, visibility, parent and root index are there from the beginning; everything else loads the group
/// first. It is filled in place: handles and identity stay. Others see all of it or nothing; filling it
/// raises no events.
///
/// One thread loads the group, others who need it wait, and nobody else does. What the loader raises comes
/// out of the operation that needed the group, which is tried again by the next one. A loader that needs the
/// group which it loads, or one whose loader waits for it, finds that one as it is: empty.
#pragma once

#include "settingscore/settings/settingsImpl.hpp"

#include <atomic>
#include <chrono>
#include <memory>

namespace settings::core::detail {

class DeclaredGroup;

/// Where the content of a tree's declared groups comes from. Called without locks.
class GroupLoader {
  public:
    virtual ~GroupLoader() = default;

    /// A group of that name with everything that is to be in it; null where there is no definition. Raises
    /// what the definitions raise.
    virtual boost::shared_ptr<SettingsImpl> load(DeclaredGroup& group) = 0;
    /// What load() gave could not be put in place.
    virtual void dropped(DeclaredGroup& group) noexcept = 0;
    /// The group has been filled. Raises nothing.
    virtual void loaded(DeclaredGroup& group) noexcept = 0;
};

class DeclaredGroup : public SettingsImpl {
  public:
    static boost::shared_ptr<DeclaredGroup> make(std::string_view name, bool isVisible,
                                                 const std::shared_ptr<GroupLoader>& loader);

    bool isLoaded() const noexcept { return stage_.load(std::memory_order_acquire) == Stage::loaded; }
    enum class Outcome {
        loaded,
        undefined, // there is no definition, or the tree is gone
        circular,  // the group is needed to load it
    };
    /// Blocks; raises what the loader raises.
    Outcome load();
    /// Of the last time that the group was filled.
    std::chrono::nanoseconds loadTime() const noexcept {
        return std::chrono::nanoseconds(loadTime_.load(std::memory_order_relaxed));
    }

    /// Before the group is loaded; from then on its definitions say so.
    void show(bool isVisible) noexcept { isShown_.store(isVisible, std::memory_order_relaxed); }
    bool isVisible() const override;

    bool isSet(std::string_view name, std::string_view level) const override;
    void unset(std::string_view name, std::string_view level) override;
    boost::optional<std::uint64_t> getDataTypeIndex(std::string_view name) const override;
    ConstNodePtr getChild(std::string_view name, bool load) const override;
    NodePtr getChild(std::string_view name, bool load) override;
    std::vector<ConstNodePtr> getChildren() const override;
    std::vector<NodePtr> getChildren() override;
    boost::optional<std::uint32_t> getVersionNumber() const override;
    void mergeDescendants(const ConstNodePtr& other, std::string_view level) override;
    ShapedArray getAny(std::string_view name, std::string_view level) const override;
    varnek::data::Array get(std::string_view name, std::string_view level) const override;
    void setValue(std::string_view name, const varnek::data::Array& value, bool isVector,
                  std::string_view level) override;
    void loadUserSettingsOncePerPrefdir() override;
    NodePtr findSetting(std::string_view name) const override;
    /// Empty before the group's content appears: there is nothing to save, and nothing that a file could
    /// change.
    NodePtr getTopLevelNodeForSave() override;
    ReadOnlyState readOnlyState() const override;
    FactorySettingProperties definition() const override;
    varnek::json::Object attributes() const override;
    void setAttributes(varnek::json::Object attributes) override;
    void setValidator(const ValidatorVariant& validator) override;
    void writeFactoryFile(const std::u16string& file, const std::vector<UpgraderRecord>& upgraders) override;

  protected:
    /// InvalidNodePath for a group that nothing defines: what would be added could never be saved.
    void requireContent() const override;

  private:
    DeclaredGroup(std::string_view name, bool isVisible, const std::shared_ptr<GroupLoader>& loader);
    bool fill(GroupLoader& loader);
    void loadNow() const;

    const std::weak_ptr<GroupLoader> loader_;
    enum class Stage : std::uint8_t { declared, appearing, loaded };
    std::atomic<Stage> stage_{Stage::declared};
    std::atomic<bool> isShown_;
    std::atomic<std::chrono::nanoseconds::rep> loadTime_{0};
};

} // namespace settings::core::detail
