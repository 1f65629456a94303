// Reading, storing and dropping the values of a group's settings.

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/events/EventTypes.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "settingscore/settings/node/NodeLog.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "settingscore/validation/FailureReason.hpp"
#include "settingscore/validation/RunTimeDefaultCall.hpp"

#include <boost/make_shared.hpp>
#include <boost/thread/locks.hpp>
#include <boost/thread/thread_only.hpp>

namespace settings::core::detail {

using varnek::concurrency::ReadSection;
using varnek::data::Array;

varnek::log::Channel nodeLog("settings::core::settingsImpl");

// ---- look-up ----

NodePtr SettingsImpl::childOrThrow(std::string_view name) const {
    requireGroup();
    NodePtr child = group_->children.find(name);
    if (child == nullptr) {
        VARNEK_LOG(nodeLog, info) << "Setting full name = " << getFullName(false, ".") << " key=" << name;
        throw exception::NoSuchKey(getThisObjectImpl(), std::string(name));
    }
    return child;
}

NodePtr SettingsImpl::findSetting(std::string_view name) const {
    NodePtr setting = followAlias(childOrThrow(name));
    if (!setting->isLeafNode())
        throw exception::NotAKeyName(getThisObjectImpl(), std::string(name));
    return setting;
}

const SettingsNodeImpl* SettingsImpl::peekChild(std::string_view name) const noexcept {
    const ChildIndex* index = group_ == nullptr ? nullptr : group_->children.read();
    return index == nullptr ? nullptr : index->find(name);
}

const LevelValues* SettingsImpl::peekValues(std::string_view name) const noexcept {
    const SettingsNodeImpl* child = peekChild(name);
    return child == nullptr ? nullptr : child->values();
}

const LevelValues* SettingsImpl::values() const noexcept {
    return isLeafNode() && indirectReads_.load(std::memory_order_relaxed) == 0 ? &values_ : nullptr;
}

// ---- reading ----

ShapedArray SettingsImpl::read(std::string_view name, std::string_view level) const {
    const NodePtr setting = findSetting(name);
    const auto local = boost::dynamic_pointer_cast<SettingsImpl>(setting->unwrap());
    if (!level.empty()) {
        const LevelIndex at = requireLevel(level, [this] { return getThisObjectImpl(); });
        ShapedArray value = setting->valueOn(at);
        const bool isDefault = value.first.isVoid() && at == LevelIndex::factory && local != nullptr;
        return isDefault ? local->evaluateRunTimeDefault() : value;
    }
    if (local != nullptr) {
        ShapedArray value = local->values_.effective();
        return value.first.isVoid() ? local->evaluateRunTimeDefault() : value;
    }
    for (const LevelIndex at : levelsInOrder)
        if (ShapedArray value = setting->valueOn(at); !value.first.isVoid())
            return value;
    return {};
}

namespace {

/// The settings whose run-time defaults this thread is evaluating, the innermost first.
class Evaluating {
  public:
    explicit Evaluating(const SettingsImpl& setting) noexcept
        : setting_(setting), outer_(std::exchange(innermost_, this)) {}
    Evaluating(const Evaluating&) = delete;
    Evaluating& operator=(const Evaluating&) = delete;
    ~Evaluating() { innermost_ = outer_; }

    static bool isAtWorkFor(const SettingsImpl& setting) noexcept {
        const Evaluating* evaluation = innermost_;
        while (evaluation != nullptr && &evaluation->setting_ != &setting)
            evaluation = evaluation->outer_;
        return evaluation != nullptr;
    }

  private:
    static inline thread_local const Evaluating* innermost_ = nullptr;

    const SettingsImpl& setting_;
    const Evaluating* const outer_;
};

} // namespace

ShapedArray SettingsImpl::evaluateRunTimeDefault() const {
    if ((indirectReads_.load(std::memory_order_relaxed) & IndirectRead::runTimeDefault) == 0)
        return {};
    if (Evaluating::isAtWorkFor(*this)) {
        VARNEK_LOG(nodeLog, warning) << "no run-time default for " << getFullName(false, ".")
                                     << ": its function reads the setting itself";
        return {};
    }
    const Evaluating evaluating(*this);
    try {
        const DefinitionHandle definition = keptDefinition();
        const auto value = definition == nullptr ? std::nullopt : evaluate(definition->factoryValueFcn);
        return value ? accepted(*value, parentGroup()) : ShapedArray();
    } catch (const std::exception& failure) { // a read never fails for want of a default
        VARNEK_LOG(nodeLog, warning) << "no run-time default for " << getFullName(false, ".") << ": "
                                     << reasonOf(failure);
        return {};
    }
}

Array SettingsImpl::get(std::string_view name, std::string_view level) const {
    const auto at = levelIndexOf(level);
    if (at || level.empty()) [[likely]] {
        const ReadSection section;
        if (const LevelValues* values = peekValues(name)) [[likely]] {
            const LevelSlots* slots = values->read();
            if (slots == nullptr)
                return {};
            const std::size_t from = at ? position(*at) : slots->effectivePosition();
            return from == levelCount ? Array() : slots->values[from];
        }
    }
    return read(name, level).first; // aliases, groups, nodes of other processes, and every error
}

ShapedArray SettingsImpl::getAny(std::string_view name, std::string_view level) const {
    return read(name, level);
}

bool SettingsImpl::isSet(std::string_view name, std::string_view level) const {
    return !read(name, level).first.isVoid();
}

boost::optional<std::uint64_t> SettingsImpl::getDataTypeIndex(std::string_view name) const {
    const NodePtr setting = findSetting(name);
    const auto local = boost::dynamic_pointer_cast<SettingsImpl>(setting->unwrap());
    const std::uint8_t index = local == nullptr ? 0 : local->dataTypeIndex_.load(std::memory_order_relaxed);
    return index == 0 ? boost::none : boost::optional<std::uint64_t>(index);
}

// ---- storing ----

boost::shared_mutex& SettingsImpl::orphanMutex() {
    static auto& orphans = *new boost::shared_mutex;
    return orphans;
}

SettingsImpl::WriterLock SettingsImpl::lockForWriting() const {
    for (;;) {
        auto parent = parentGroup();
        const GroupState* state = parent == nullptr ? nullptr : parent->group_;
        boost::upgrade_lock<boost::shared_mutex> lock(parent == nullptr ? orphanMutex()
                                                                        : parent->group_->mutex);
        if (parent_.load(std::memory_order_seq_cst) == state)
            return {std::move(parent), std::move(lock)};
        boost::this_thread::yield();
    }
}

void SettingsImpl::setValue(std::string_view name, const Array& value, bool isVector,
                            std::string_view level) {
    const NodeValue pair(childOrThrow(name), ShapedArray(value, isVector)); // the batch follows an alias
    multipleSet({&pair, 1}, level, false);
}

EventDelivery::Place SettingsImpl::reserveEvent(const TreeContext* tree, Origin origin) {
    if (tree == nullptr || !tree->connected)
        return {};
    const bool isSavedHere =
        tree->saves != nullptr && !tree->saves->areMetLater(); // others do not wait for that
    const bool mayWait = origin == Origin::caller && !isSavedHere;
    return EventDelivery::reserve(tree->events, mayWait ? EventDelivery::Release::whenTold
                                                        : EventDelivery::Release::whenComplete);
}

SettingsImpl::StoreOutcome SettingsImpl::store(LevelIndex level, const ShapedArray& value,
                                               const TreeContext* tree, const ShapedArray* onlyInPlaceOf) {
    StoreOutcome outcome;
    WriterLock lock = lockForWriting();
    const ShapedArray present = values_.on(level);
    if (present == value || (onlyInPlaceOf != nullptr && present != *onlyInPlaceOf))
        return outcome;
    ShapedArray before = values_.effective();
    outcome.event = reserveEvent(tree, onlyInPlaceOf == nullptr ? Origin::caller : Origin::file);
    {
        const boost::upgrade_to_unique_lock<boost::shared_mutex> unique(lock.lock);
        values_.store(level, value);
        recordDataType(value);
    }
    outcome.stored = true;
    outcome.effectiveChanged = values_.effective() != before;
    outcome.before = std::move(before.first);
    const bool isAnnounced = outcome.effectiveChanged || value.first.isVoid(); // a value that goes always is
    outcome.event.complete([&] { return isAnnounced ? changeEvent(outcome, *tree) : EventHandle(); });
    return outcome;
}

std::uint8_t SettingsImpl::dataTypeOf(const ShapedArray& value) {
    return static_cast<std::uint8_t>(settingscore::boostany::variantIndexOf(value.first, value.second));
}

void SettingsImpl::recordDataType(const ShapedArray& value) {
    std::uint8_t none = 0;
    if (!value.first.isVoid())
        dataTypeIndex_.compare_exchange_strong(none, dataTypeOf(value), std::memory_order_relaxed);
}

EventHandle SettingsImpl::changeEvent(const StoreOutcome& outcome, const TreeContext& tree) {
    return boost::make_shared<SettingsValueChangeEvent>(getThisObject(), publishedTypes(valueChangeEventName),
                                                        tree.rootIndex, outcome.before);
}

std::vector<std::u16string> SettingsImpl::publishedTypes(std::string_view eventClass) const {
    const auto id = identity();
    std::vector<std::u16string> types;
    types.reserve(2);
    types.push_back(eventType(eventClass, id));
    types.push_back(eventType(settingsEventName, id));
    return types;
}

void SettingsImpl::unset(std::string_view name, std::string_view level) {
    const LevelIndex at = checkLevel(level);
    const NodePtr found = findSetting(name);
    const auto setting = boost::dynamic_pointer_cast<SettingsImpl>(found->unwrap());
    if (setting == nullptr) { // of another process
        if (const NodePtr group = found->getParent())
            return group->unset(found->getName(), level);
        throw exception::NoSuchKey(getThisObjectImpl(), std::string(name));
    }
    if (setting->isReadOnly())
        throw exception::CannotChangeValueForReadOnlySetting(setting->getThisObjectImpl());
    const auto tree = setting->treeContext();
    StoreOutcome outcome;
    {
        WriterLock lock = setting->lockForWriting();
        if (!setting->values_.on(at).first.isVoid()) {
            outcome.stored = true;
            outcome.before = setting->values_.effective().first;
            outcome.event = reserveEvent(tree.get());
            const boost::upgrade_to_unique_lock<boost::shared_mutex> unique(lock.lock);
            setting->values_.store(at, {});
            // Also when a higher level hides the change.
            outcome.event.complete([&] { return setting->changeEvent(outcome, *tree); });
        }
    }
    if (!outcome.stored)
        throw exception::ValueNotDefinedForGivenLevel(setting->getThisObjectImpl(), std::string(level));
    LateEvents events;
    events.add(std::move(outcome.event));
    if (tree != nullptr && tree->connected) {
        const SavedFirst saving(events);
        requestSaveOf(*setting, at);
    }
    events.tell();
    varnek::concurrency::reclaimIfDue();
}

// ---- values that come from files ----

bool SettingsImpl::loadValue(LevelIndex level, ShapedArray value) {
    WriterLock lock = lockForWriting();
    if (!value.first.isVoid() && !values_.on(level).first.isVoid())
        return false;
    const boost::upgrade_to_unique_lock<boost::shared_mutex> unique(lock.lock);
    recordDataType(value);
    values_.store(level, std::move(value));
    return true;
}

bool SettingsImpl::replaceValue(LevelIndex level, const ShapedArray& before, const ShapedArray& now,
                                LateEvents& events) {
    const auto tree = treeContext();
    StoreOutcome outcome = store(level, now, tree.get(), &before);
    if (outcome.event)
        events.add(std::move(outcome.event));
    varnek::concurrency::reclaimIfDue();
    return outcome.stored;
}

void SettingsImpl::unloadLevel(LevelIndex level) {
    if (isLeafNode()) {
        if (!values_.on(level).first.isVoid())
            loadValue(level, {});
        return;
    }
    for (const NodePtr& child : group_->children.inOrder())
        child->unloadLevel(level);
}

bool SettingsImpl::hasAnythingToPersist(LevelIndex level) const {
    if (originLevel() == level)
        return true;
    if (isLeafNode())
        return !values_.on(level).first.isVoid();
    const auto children = group_->children.inOrder();
    return std::any_of(children.begin(), children.end(),
                       [&](const NodePtr& child) { return child->hasAnythingToPersist(level); });
}

} // namespace settings::core::detail
