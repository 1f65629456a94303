#include "settingscore/settings/root/DeclaredGroup.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/root/DefinesHere.hpp"
#include "settingscore/settings/root/LoadTurns.hpp"
#include "settingscore/settings/root/RootLog.hpp"

namespace settings::core::detail {

namespace {

NodeSpec specOf(std::string_view name, bool isVisible) {
    NodeSpec spec;
    spec.name = name;
    spec.visible = isVisible;
    return spec;
}

struct Turn {
    LoadTurns& turns;
    const void* group;
    const DefinesHere definesHere{};
    ~Turn() { turns.end(group); }
};

} // namespace

DeclaredGroup::DeclaredGroup(std::string_view name, bool isVisible,
                             const std::shared_ptr<GroupLoader>& loader)
    : SettingsImpl(specOf(name, isVisible), true), loader_(loader), isShown_(isVisible) {}

boost::shared_ptr<DeclaredGroup> DeclaredGroup::make(std::string_view name, bool isVisible,
                                                     const std::shared_ptr<GroupLoader>& loader) {
    boost::shared_ptr<DeclaredGroup> group(new DeclaredGroup(name, isVisible, loader));
    finish(group);
    return group;
}

DeclaredGroup::Outcome DeclaredGroup::load() {
    LoadTurns& turns = LoadTurns::instance();
    while (!isLoaded()) {
        const auto loader = loader_.lock();
        if (loader == nullptr)
            return Outcome::undefined;
        const LoadTurns::Outcome outcome = turns.begin(this);
        if (outcome == LoadTurns::Outcome::circular) {
            VARNEK_LOG(rootLog, warning) << "The definitions of " << getName() << " are needed to load them";
            return Outcome::circular;
        }
        if (outcome == LoadTurns::Outcome::ended)
            continue;
        {
            const Turn turn{turns, this};
            if (isLoaded()) // somebody was quicker
                return Outcome::loaded;
            if (!fill(*loader))
                return Outcome::undefined;
        }
        loader->loaded(*this);
    }
    return Outcome::loaded;
}

/// The children come last: whoever finds one of them finds everything, and can save it.
bool DeclaredGroup::fill(GroupLoader& loader) {
    const auto start = std::chrono::steady_clock::now();
    const auto content = loader.load(*this);
    if (content == nullptr)
        return false;
    try {
        redefine(*content, nullptr);
        stage_.store(Stage::appearing, std::memory_order_release);
        adopt(content->getChildren(), nullptr);
    } catch (...) {
        stage_.store(Stage::declared, std::memory_order_release);
        loader.dropped(*this);
        throw;
    }
    loadTime_ = (std::chrono::steady_clock::now() - start).count();
    stage_.store(Stage::loaded, std::memory_order_release);
    return true;
}

void DeclaredGroup::requireContent() const {
    if (isLoaded() || const_cast<DeclaredGroup*>(this)->load() != Outcome::undefined)
        return;
    const NodePtr parent = getParent();
    throw exception::InvalidNodePath(
        parent == nullptr ? boost::shared_ptr<Settings>() : parent->getThisObject(), getName());
}

/// For what only looks: a group that nothing defines is empty.
void DeclaredGroup::loadNow() const {
    if (!isLoaded())
        const_cast<DeclaredGroup*>(this)->load();
}

bool DeclaredGroup::isVisible() const {
    return stage_.load(std::memory_order_acquire) == Stage::declared
               ? isShown_.load(std::memory_order_relaxed)
               : SettingsImpl::isVisible();
}

bool DeclaredGroup::isSet(std::string_view name, std::string_view level) const {
    loadNow();
    return SettingsImpl::isSet(name, level);
}

void DeclaredGroup::unset(std::string_view name, std::string_view level) {
    loadNow();
    SettingsImpl::unset(name, level);
}

boost::optional<std::uint64_t> DeclaredGroup::getDataTypeIndex(std::string_view name) const {
    loadNow();
    return SettingsImpl::getDataTypeIndex(name);
}

ConstNodePtr DeclaredGroup::getChild(std::string_view name, bool load) const {
    return const_cast<DeclaredGroup*>(this)->getChild(name, load);
}

NodePtr DeclaredGroup::getChild(std::string_view name, bool load) {
    if (load)
        loadNow();
    return SettingsImpl::getChild(name, load);
}

std::vector<ConstNodePtr> DeclaredGroup::getChildren() const {
    loadNow();
    return SettingsImpl::getChildren();
}

std::vector<NodePtr> DeclaredGroup::getChildren() {
    loadNow();
    return SettingsImpl::getChildren();
}

boost::optional<std::uint32_t> DeclaredGroup::getVersionNumber() const {
    loadNow();
    return SettingsImpl::getVersionNumber();
}

void DeclaredGroup::mergeDescendants(const ConstNodePtr& other, std::string_view level) {
    loadNow();
    SettingsImpl::mergeDescendants(other, level);
}

ShapedArray DeclaredGroup::getAny(std::string_view name, std::string_view level) const {
    loadNow();
    return SettingsImpl::getAny(name, level);
}

varnek::data::Array DeclaredGroup::get(std::string_view name, std::string_view level) const {
    loadNow();
    return SettingsImpl::get(name, level);
}

void DeclaredGroup::setValue(std::string_view name, const varnek::data::Array& value, bool isVector,
                             std::string_view level) {
    loadNow();
    SettingsImpl::setValue(name, value, isVector, level);
}

void DeclaredGroup::loadUserSettingsOncePerPrefdir() {
    loadNow();
    SettingsImpl::loadUserSettingsOncePerPrefdir();
}

NodePtr DeclaredGroup::findSetting(std::string_view name) const {
    loadNow();
    return SettingsImpl::findSetting(name);
}

NodePtr DeclaredGroup::getTopLevelNodeForSave() {
    return stage_.load(std::memory_order_acquire) == Stage::declared ? NodePtr()
                                                                     : SettingsImpl::getTopLevelNodeForSave();
}

ReadOnlyState DeclaredGroup::readOnlyState() const {
    loadNow();
    return SettingsImpl::readOnlyState();
}

FactorySettingProperties DeclaredGroup::definition() const {
    loadNow();
    return SettingsImpl::definition();
}

varnek::json::Object DeclaredGroup::attributes() const {
    loadNow();
    return SettingsImpl::attributes();
}

void DeclaredGroup::setAttributes(varnek::json::Object attributes) {
    loadNow();
    SettingsImpl::setAttributes(std::move(attributes));
}

void DeclaredGroup::setValidator(const ValidatorVariant& validator) {
    loadNow();
    SettingsImpl::setValidator(validator);
}

void DeclaredGroup::writeFactoryFile(const std::u16string& file,
                                     const std::vector<UpgraderRecord>& upgraders) {
    loadNow();
    SettingsImpl::writeFactoryFile(file, upgraders);
}

} // namespace settings::core::detail
