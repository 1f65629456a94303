#include "settingscore/settings/root/Toolboxes.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/root/LoadTurns.hpp"
#include "settingscore/settings/root/Redefinition.hpp"
#include "settingscore/settings/root/RootLog.hpp"
#include "settingscore/settings/root/SettingsImplRoot.hpp"
#include "settingscore/settings/root/SettingsInfo.hpp"
#include "settingscore/settings/upgrade/UpgradeLog.hpp"
#include "settingscore/settings/upgrade/UserSettingsUpgrade.hpp"

#include <boost/make_shared.hpp>

#include <optional>
#include <stdexcept>
#include <utility>

namespace settings::core::detail {

Toolboxes::Toolboxes(boost::shared_ptr<LevelFileKeeper> files, std::shared_ptr<UserSettingsUpgrade> upgrade,
                     const boost::shared_ptr<SettingsImplRoot>& root)
    : files_(std::move(files)), upgrade_(std::move(upgrade)), root_(root) {}
Toolboxes::~Toolboxes() = default;

// ---- declaring ----

void Toolboxes::build(const std::filesystem::path& factoryFolder) {
    FactorySettingsTracker& tracker = FactorySettingsTracker::start();
    builtAt_ = tracker.arrivals();
    takesServices_ = true;
    for (const LoadProblem& problem : tracker.problems())
        problems_.add("", problem);
    std::set<std::string> visible;
    const auto take = [&](const std::string& group, bool isVisible) {
        if (isVisible)
            visible.insert(group);
    };
    sources_.takeLoaders(tracker.loaders(), noteRefusal());
    if (!factoryFolder.empty()) {
        for (const FactoryFileLocation& location : readFactoryFileLocations(factoryFolder)) {
            sources_.addFactoryFile(location.toolboxGroupName, {factoryFolder / location.factoryFile});
            take(location.toolboxGroupName, !location.hidden);
        }
        for (const SettingsInfo& info : readSettingsInfos(factoryFolder, problems_)) {
            info.enter(sources_);
            if (info.isOfFile())
                take(info.toolboxGroupName, !info.isHidden);
        }
    }
    sources_.setVisibleGroups(std::move(visible));
    addDummyNodes(sources_.declaredGroups());
    for (const FactorySettingsTracker::Service& service : tracker.topLevelServices()) {
        VARNEK_LOG(rootLog, info) << "SettingsImplRoot::buildSettingsTree: Add service: " << service.name;
        sources_.declare(service.name);
        place(service.name, nullptr);
    }
    isBuilt_.store(true, std::memory_order_release);
}

/// All at once, since each time the root's table of children is made anew.
void Toolboxes::addDummyNodes(const std::vector<std::string>& names) {
    const auto root = root_.lock();
    std::vector<NodePtr> groups;
    for (const std::string& name : names)
        if (NodePtr group = addDummyNode(name, root))
            groups.push_back(std::move(group));
    try {
        root->adoptChildren(std::move(groups));
    } catch (const std::exception&) { // one of them is refused, which is to be told of that one only
        for (const std::string& name : names)
            place(name, nullptr);
    }
}

/// Null when the group is to wait for a source.
NodePtr Toolboxes::addDummyNode(const std::string& name, const NodePtr& parent) {
    VARNEK_LOG(rootLog, info) << "SettingsImplRoot::addDummyNode for: " << name << ":" << parent->getName();
    if (sourceOf(name) != ToolboxSource::none)
        return DeclaredGroup::make(name, isVisible(name), shared_from_this());
    place(name, nullptr);
    return {};
}

void Toolboxes::add(const std::string& name) {
    sources_.declare(name);
    follow(name);
}

void Toolboxes::follow(const std::string& name) {
    LateEvents events;
    place(name, &events);
}

/// Sources are asked without the lock, so that one may come or go meanwhile: whoever is the last to look
/// leaves the group as they are.
void Toolboxes::place(const std::string& name, LateEvents* events) {
    for (bool isDone = false; !isDone;) {
        const bool hasSource = sourceOf(name) != ToolboxSource::none;
        place(name, hasSource, events);
        isDone = (sourceOf(name) != ToolboxSource::none) == hasSource;
    }
}

void Toolboxes::place(const std::string& name, bool hasSource, LateEvents* events) {
    const Refusal refusal = placeNow(name, hasSource, isVisible(name), events);
    if (refusal.line.empty())
        return;
    problems_.set(name, {{sourceText(name), refusal.cause}});
    VARNEK_LOG(rootLog, error) << refusal.line; // sinks may ask for the groups
}

Toolboxes::Refusal Toolboxes::placeNow(const std::string& name, bool hasSource, bool isShown,
                                       LateEvents* events) {
    const auto root = root_.lock();
    const std::lock_guard lock(creation_);
    if (root == nullptr)
        return {};
    const auto behind = replaced_.find(name);
    const NodePtr there = behind == replaced_.end() ? root->childNamed(name) : behind->second;
    const auto declared = boost::dynamic_pointer_cast<DeclaredGroup>(there);
    if (there != nullptr && there->originLevel() != LevelIndex::factory) {
        if (hasSource)
            return {"Toolbox " + name + " is left out: there is an added group of its name",
                    "there is an added group of that name"};
    } else if (declared != nullptr) {
        if (hasSource)
            declared->show(isShown);
        else if (!declared->isLoaded() && events != nullptr)
            takeAway(root, declared, *events);
    } else if (there == nullptr) {
        auto& kept = withoutSource_[name];
        if (kept == nullptr)
            kept = DeclaredGroup::make(name, isShown, shared_from_this());
        if (hasSource)
            kept->show(isShown);
        else if (!kept->isLoaded())
            return {};
        const auto group = std::move(kept);
        withoutSource_.erase(name);
        try {
            putBelowRoot(root, group, events);
        } catch (const std::exception& failure) { // the name differs from another one by case only
            return {std::string("Exception caught: ") + failure.what(), failure.what()};
        }
    }
    return {};
}

void Toolboxes::putBelowRoot(const boost::shared_ptr<SettingsImplRoot>& root,
                             const boost::shared_ptr<DeclaredGroup>& group, LateEvents* events) {
    if (const auto behind = replaced_.find(group->getName()); behind != replaced_.end())
        behind->second = group; // until the other process ends
    else if (events != nullptr)
        root->adoptWithEvents({group}, *events);
    else
        root->adoptChildren({group});
}

void Toolboxes::takeAway(const boost::shared_ptr<SettingsImplRoot>& root,
                         const boost::shared_ptr<DeclaredGroup>& group, LateEvents& events) {
    withoutSource_[group->getName()] = group;
    if (const auto behind = replaced_.find(group->getName()); behind != replaced_.end())
        behind->second = nullptr;
    else
        root->dropChild(group, events);
}

void Toolboxes::logMissing(const std::string& name) const {
    {
        const std::lock_guard lock(creation_);
        if (!withoutSource_.contains(name))
            return;
    }
    VARNEK_LOG(rootLog, info) << "Try to load factory settings for " << name;
    VARNEK_LOG(rootLog, warning) << "No microservice and no VARNEK code for factory settings for " << name;
}

ToolboxSources::Refused Toolboxes::noteRefusal() {
    return [this](const std::string& name, const std::string& cause) {
        VARNEK_LOG(rootLog, error) << "Exception caught: toolbox " << name << ": " << cause;
        problems_.set(name, {{"toolbox " + name, cause}});
    };
}

// ---- sources ----

std::optional<FactorySettingsTracker::Service> Toolboxes::serviceOf(const std::string& name) const {
    return takesServices_ ? FactorySettingsTracker::start().find(name) : std::nullopt;
}

ToolboxSource Toolboxes::sourceOf(const std::string& name) const {
    if (serviceOf(name))
        return ToolboxSource::service;
    if (!sources_.factoryFiles(name).empty())
        return ToolboxSource::file;
    const ToolboxSources::Definition definition = sources_.definition(name);
    return definition != nullptr && definition->isAvailable() ? ToolboxSource::language : ToolboxSource::none;
}

bool Toolboxes::isVisible(const std::string& name) const {
    if (const auto service = serviceOf(name))
        return service->isVisible;
    const ToolboxSources::Declared declared = sources_.declared(name);
    return declared.files.empty() && declared.definition != nullptr ? declared.definition->isVisible()
                                                                    : declared.isVisible();
}

/// How messages call the source.
std::string Toolboxes::sourceText(const std::string& name) const {
    const ToolboxSource source = sourceOf(name);
    const auto files = sources_.factoryFiles(name); // may have gone meanwhile
    if (source == ToolboxSource::file && !files.empty())
        return files.front().path.string();
    const ToolboxSources::Definition definition = sources_.definition(name);
    return definition != nullptr && source != ToolboxSource::service ? definition->getFile().string()
                                                                     : "toolbox " + name;
}

std::vector<ToolboxGroup> Toolboxes::list() const {
    std::set<std::string> names;
    for (std::string& name : sources_.declaredGroups())
        names.insert(std::move(name));
    std::vector<ToolboxGroup> groups;
    for (const std::string& name : names) {
        ToolboxGroup group;
        group.name = name;
        group.source = sourceOf(name);
        group.isVisible = isVisible(name);
        if (group.source == ToolboxSource::file)
            for (const ToolboxSources::FactoryFile& file : sources_.factoryFiles(name))
                group.files.push_back(file.path);
        else if (const auto definition = sources_.definition(name); group.source != ToolboxSource::service)
            group.files = definition == nullptr ? group.files : std::vector{definition->getFile()};
        if (const auto declared = boost::dynamic_pointer_cast<DeclaredGroup>(localGroup(name))) {
            group.isLoaded = declared->isLoaded();
            group.isVisible = declared->isVisible();
            group.loadTime = declared->loadTime();
        }
        groups.push_back(std::move(group));
    }
    return groups;
}

std::optional<FactoryChanges> Toolboxes::changesOf(const std::string& name) const {
    const ToolboxSource source = sourceOf(name);
    if (source == ToolboxSource::none)
        return std::nullopt;
    if (source != ToolboxSource::file) // such definitions tell of no changes
        return std::make_shared<const std::vector<UpgraderRecord>>();
    const auto files = sources_.factoryFiles(name);
    if (files.empty()) // gone meanwhile
        return std::nullopt;
    const ToolboxSources::FactoryFile& file = files.front();
    if (file.changes != nullptr)
        return file.changes;
    try {
        return std::make_shared<const std::vector<UpgraderRecord>>(
            readSettingsFile(file.path, FileUse::factory).upgraders);
    } catch (const std::exception&) { // it is told to whoever needs the group
        return FactoryChanges();
    }
}

// ---- loading ----

ToolboxDefinition Toolboxes::define(const std::string& name) {
    const FactorySettingsTracker* const tracker = takesServices_ ? &FactorySettingsTracker::start() : nullptr;
    if (tracker != nullptr) {
        const std::lock_guard lock(creation_);
        definedAt_[name] = tracker->arrivals();
    }
    ToolboxDefinition definition;
    if (const auto service = serviceOf(name))
        definition = definitionOfService(name, *service);
    else if (const auto files = sources_.factoryFiles(name); !files.empty())
        definition = definitionOfFiles(name, files, sources_.isVisible(name));
    else if (const auto code = sources_.definition(name); code != nullptr && code->isAvailable())
        definition = definitionOfCode(*code, code->isVisible());
    else
        VARNEK_LOG(rootLog, warning) << "No microservice and no VARNEK code for factory settings for "
                                     << name;
    std::vector<LoadProblem> problems;
    if (!definition.refusal.empty())
        problems.push_back({sourceText(name), definition.refusal});
    if (definition && tracker != nullptr && tracker->suppliesBelow(name))
        problems = addGroupsOfServices(definition.group, name, *tracker);
    problems_.set(name, std::move(problems));
    return definition;
}

boost::shared_ptr<SettingsImpl> Toolboxes::load(DeclaredGroup& group) {
    const auto root = root_.lock();
    if (root == nullptr)
        return {};
    const std::string& name = group.getName();
    VARNEK_LOG(rootLog, info) << "Try to load factory settings for " << name;
    try {
        ToolboxDefinition definition = define(name);
        if (!definition)
            return {};
        definition.group->setParent(root);
        upgrade_->setFactoryChanges(name, std::move(definition.changes));
        for (const LevelIndex level : levelsOfFiles) {
            files_->loadLevel(definition.group, level, LevelFileKeeper::Telling::no);
            noteFile(files_->status(name, level));
        }
        return definition.group;
    } catch (...) {
        const std::string cause = causeOfCurrentException();
        files_->forgetFilesOf(name); // what was read of them is not in the tree
        problems_.set(name,
                      {{sourceText(name), cause.empty() ? "something that is no std::exception" : cause}});
        throw;
    }
}

void Toolboxes::loadLevel(const NodePtr& group, LevelIndex level) {
    files_->loadLevel(group, level);
    noteFile(files_->status(group->getName(), level));
}

void Toolboxes::noteFile(const LevelFileStatus& file) {
    const auto isGone = [&] {
        std::error_code ignored;
        return symlink_status(file.refused, ignored).type() == std::filesystem::file_type::not_found;
    };
    std::optional<LoadProblem> problem;
    if ((file.loaded == LoadOutcome::damaged || file.loaded == LoadOutcome::unreadable) && !isGone())
        problem = LoadProblem{file.refused.string(), file.loadMessage};
    problems_.setFile(file.group, file.level, std::move(problem));
}

void Toolboxes::dropped(DeclaredGroup& group) noexcept {
    files_->forgetFilesOf(group.getName());
}

void Toolboxes::loaded(DeclaredGroup& group) noexcept {
    const NodePtr self = group.shared_from_this();
    settle(self);
    try {
        follow(self->getName()); // its source may have gone meanwhile
    } catch (...) {
        VARNEK_LOG(rootLog, error) << "Exception caught: " << causeOfCurrentException();
    }
}

void Toolboxes::settle(const NodePtr& group) noexcept {
    try {
        files_->followUpgrades(group);
        for (const LevelIndex level : levelsOfFiles)
            if (files_->mayHaveChanged(group->getName(), level)) // while the group was being loaded
                loadLevel(group, level);
        takeSubgroups(group->getName());
    } catch (...) {
        VARNEK_LOG(rootLog, error) << "Exception caught: " << causeOfCurrentException();
    }
}

// ---- other definitions ----

void Toolboxes::reload(const std::string& name, const char* operation) {
    reload(name, operation, [] { return ToolboxSources::Change(); });
}

/// The sources change in the group's turn: another change waits, and finds what came of this one.
template <class ChangeSources>
void Toolboxes::reload(const std::string& name, const char* operation, const ChangeSources& change) {
    const auto group = boost::dynamic_pointer_cast<SettingsImpl>(localGroup(name));
    if (group == nullptr || group->originLevel() != LevelIndex::factory)
        return orTakeBack(name, change(), [&] {
            requireSource(name, operation);
            add(name);
        });
    for (const LevelIndex level : levelsOfFiles) // the writer's listeners may wait for the turn
        files_->awaitSave(name, level);
    LateEvents events; // told without the turn
    bool isRedefined = false;
    {
        const LoadTurn turn(group.get());
        orTakeBack(name, change(), [&] {
            requireSource(name, operation);
            isRedefined = redefine(group, events);
        });
    }
    events.tell();
    if (isRedefined)
        settle(group);
}

void Toolboxes::requireSource(const std::string& name, const char* operation) const {
    const ToolboxSource source = sourceOf(name);
    if (source == ToolboxSource::none)
        throw exception::CantReloadFactoryFile(name);
    if (source == ToolboxSource::service)
        VARNEK_LOG(rootLog, info) << "SettingsImplRoot::" << operation << ": Add service: " << name;
}

/// The sources are as before when the step fails.
template <class Step>
void Toolboxes::orTakeBack(const std::string& name, ToolboxSources::Change change, const Step& step) {
    try {
        step();
    } catch (...) {
        sources_.takeBack(name, std::move(change));
        throw;
    }
}

/// In the group's turn. False: the group is as it was.
bool Toolboxes::redefine(const boost::shared_ptr<SettingsImpl>& group, LateEvents& events) {
    const std::string& name = group->getName();
    if (const auto declared = boost::dynamic_pointer_cast<DeclaredGroup>(group);
        declared != nullptr && !declared->isLoaded()) {
        place(name, &events);
        return false; // read when somebody needs it
    }
    VARNEK_LOG(rootLog, info) << "Try to load factory settings for " << name;
    ToolboxDefinition fresh = define(name);
    if (!fresh) {
        if (fresh.refusal.empty())
            problems_.add(name, {sourceText(name), "makes no group any more"});
        return false;
    }
    VARNEK_LOG(upgradeLog, info) << "Handle upgraders for " << name;
    Redefinition(group, fresh.group, *files_)
        .run([&] { upgrade_->setFactoryChanges(name, std::move(fresh.changes)); }, events);
    for (const LevelIndex level : levelsOfFiles)
        noteFile(files_->status(name, level));
    return true;
}

void Toolboxes::useFiles(const std::string& name, const std::vector<std::filesystem::path>& files,
                         bool isVisible) {
    std::vector<ToolboxSources::FactoryFile> entries;
    for (const std::filesystem::path& file : files)
        entries.push_back({file, false});
    definitionOfFiles(name, entries, isVisible); // raises what there is to raise
    reload(name, "updateToolboxGroup", [&] {
        if (sourceOf(name) == ToolboxSource::service)
            VARNEK_LOG(rootLog, warning)
                << "Toolbox " << name << ": its service stays in force over the files";
        return sources_.setFactoryFiles(name, entries, isVisible);
    });
}

void Toolboxes::useDefinition(const ToolboxSources::Definition& definition) {
    const std::string& name = definition->getToolboxGroupName();
    reload(name, "updateToolboxGroupWithFunctions", [&] {
        if (sourceOf(name) == ToolboxSource::file)
            throw std::invalid_argument("factory files define the group \"" + name +
                                        "\", and updateToolboxGroup replaces them");
        return sources_.setDefinition(definition);
    });
}

} // namespace settings::core::detail
