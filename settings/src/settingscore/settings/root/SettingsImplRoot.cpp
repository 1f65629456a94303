#include "settingscore/settings/root/SettingsImplRoot.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/events/UpdatePrefdirEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/level/TreeFolders.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/root/DefinesHere.hpp"
#include "settingscore/settings/root/RootLog.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "varnek/files/PathText.hpp"

#include <boost/make_shared.hpp>

#include <algorithm>

namespace settings::core::detail {

namespace {

constexpr char rootName[] = "root";

NodeSpec rootSpec() {
    NodeSpec spec;
    spec.name = rootName;
    spec.origin = LevelIndex::factory;
    return spec;
}

TreeContext withEvents(TreeContext context) {
    if (context.connected && context.events == nullptr)
        context.events = boost::make_shared<EventDelivery>();
    return context;
}

/// Neither events nor saves; who is just looking for the events of the tree finds them.
TreeContext outside(const TreeContext& context) {
    return {.rootIndex = context.rootIndex, .events = context.events};
}

} // namespace

SettingsImplRoot::SettingsImplRoot(TreeContext context)
    : SettingsImpl(rootSpec(), true), context_(boost::make_shared<const TreeContext>(std::move(context))),
      outside_(boost::make_shared<const TreeContext>(outside(*context_))) {}

boost::shared_ptr<SettingsImplRoot> SettingsImplRoot::make(TreeContext context) {
    VARNEK_LOG(rootLog, info) << "SettingsImplRoot::SettingsImplRoot "
                              << " RootIndex:" << context.rootIndex.index();
    boost::shared_ptr<SettingsImplRoot> root(new SettingsImplRoot(withEvents(std::move(context))));
    finish(root);
    if (root->context_->connected)
        root->followPrefdir();
    return root;
}

// ---- toolboxes ----

void SettingsImplRoot::buildSettingsTree(const std::filesystem::path& factoryFolder) {
    static const bool isFirst = [] {
        VARNEK_LOG(rootLog, info) << "Loading settings without RCF";
        return true;
    }();
    static_cast<void>(isFirst);
    toolboxes_->build(factoryFolder);
}

std::set<std::filesystem::path> SettingsImplRoot::getEarlyStartupFactoryFileNames() const {
    std::set<std::filesystem::path> files;
    for (const auto& loader : FactorySettingsTracker::start().loaders()) {
        const std::string& name = loader.name;
        std::filesystem::path file;
        try {
            const DefinesHere definesHere;
            if (loader.code->isNeededAtStartup())
                file = loader.code->getFactoryFile();
        } catch (...) { // the others go on
            std::string cause = causeOfCurrentException();
            VARNEK_LOG(rootLog, error) << "Exception caught: toolbox " << name << ": " << cause;
            if (toolboxes_ != nullptr)
                toolboxes_->problems().add(name, {"toolbox " + name, std::move(cause)});
        }
        if (file.empty())
            continue;
        VARNEK_LOG(rootLog, info) << "SettingsImplRoot::getEarlyStartupFactoryFileNames: Add service: "
                                  << name;
        VARNEK_LOG(rootLog, info) << "add to settings root: " << name;
        files.insert(std::move(file));
    }
    return files;
}

NodePtr SettingsImplRoot::childNamed(std::string_view name) const {
    return group().children.find(name);
}

NodePtr SettingsImplRoot::getChild(std::string_view name, bool load) {
    VARNEK_LOG(rootLog, debug) << "Root:getChildImpl: " << name << ". Load: " << load;
    NodePtr child = SettingsImpl::getChild(name, load);
    const auto declared = load ? boost::dynamic_pointer_cast<DeclaredGroup>(child) : nullptr;
    if (declared != nullptr && declared->load() != DeclaredGroup::Outcome::loaded)
        child = nullptr;
    if (child == nullptr && load && toolboxes_ != nullptr)
        toolboxes_->logMissing(std::string(name));
    VARNEK_LOG(rootLog, debug) << "Top level node " << name << (child == nullptr ? " not found" : " found");
    return child;
}

void SettingsImplRoot::reloadFactoryFile(std::string_view toolboxGroupName) {
    if (toolboxes_ == nullptr)
        return SettingsImpl::reloadFactoryFile(toolboxGroupName);
    toolboxes_->reload(std::string(toolboxGroupName), "reloadFactoryFile");
}

void SettingsImplRoot::loaderAdded(std::string_view) {
    if (toolboxes_ != nullptr)
        toolboxes_->lookForSources();
}

// ---- what a root refuses ----

NodePtr SettingsImplRoot::clashing(std::string_view name) const {
    for (const NodePtr& child : group().children.inOrder())
        if (sameButForCase(child->getName(), name))
            return child;
    return {};
}

/// Whoever reads the log sees the folder that personal values come from after a change.
void SettingsImplRoot::followPrefdir() {
    const RootIndex index = context_->rootIndex;
    const auto log = [index](const varnek::event::EventHandle& event) {
        const auto* change = dynamic_cast<const UpdatePrefdirEvent*>(event.get());
        if (change != nullptr && change->getRootIndex() == index)
            VARNEK_LOG(rootLog, info) << "Personal settings come from "
                                      << varnek::files::messageUtf8(levelFolder(index, LevelIndex::user));
    };
    prefdirChanges_ =
        varnek::event::EventManager::instance().observe({u"settings::core::UpdatePrefdirEvent"}, log);
}

SettingsImplRoot::~SettingsImplRoot() = default;

NodePtr SettingsImplRoot::addSetting(std::string_view, const FactorySettingProperties&,
                                     std::string_view level) {
    checkLevel(level);
    throw exception::CanNotAddKeyToRootException(getThisObject());
}

NodePtr SettingsImplRoot::createFactorySetting(std::string_view name, const FactorySettingProperties&, bool) {
    throw exception::CannotAddKeyToRoot(std::string(name));
}

void SettingsImplRoot::refuseClash(const NodePtr& existing) const {
    throw exception::ErrorAddingTopLevelNode(existing->getName());
}

void SettingsImplRoot::refuseInsertion(const std::string& name) const {
    throw exception::ErrorAddingTopLevelNode(name);
}

void SettingsImplRoot::checkAdoptable(const std::vector<NodePtr>& children) const {
    if (!group().children.isEmpty())
        for (const NodePtr& child : children)
            if (const NodePtr existing = clashing(child->getName()))
                throw exception::ProductNodeAlreadyExisted(child->getName(), existing->getName());
    std::vector<std::string> names;
    for (const NodePtr& child : children)
        names.push_back(child->getName());
    std::stable_sort(names.begin(), names.end(), lessButForCase);
    const auto twin = std::adjacent_find(names.begin(), names.end(), sameButForCase);
    if (twin != names.end())
        throw exception::ProductNodeAlreadyExisted(*std::next(twin), *twin);
}

} // namespace settings::core::detail
