#include "settingscore/settings/upgrade/UpgradeRun.hpp"

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/upgrade/UpgradeLog.hpp"

#include <new>

namespace settings::core::detail {

using namespace VARNEK::settings::config;

namespace {

/// Of the exception being handled; also logs it.
ReleaseCompatibilityException recordOfCurrentException() {
    ReleaseCompatibilityException record;
    try {
        throw;
    } catch (const varnek::catalogue::CatalogueException& failure) {
        record = {failure.identifier(), failure.what()};
    } catch (...) {
        record.exceptionLog = causeOfCurrentException();
    }
    VARNEK_LOG(upgradeLog, warning) << "Exception caught: " << record.exceptionLog;
    return record;
}

std::string shown(const UpgradePosition& position) {
    return "(" + std::to_string(position.upgrader) + ", " + std::to_string(position.change) + ")";
}

class Run {
  public:
    Run(SettingsFileContent& content, const FactoryChanges& changes, OtherGroups& others)
        : content_(content), changes_(changes), tree_(content.tree, others, content.isEncrypted),
          position_(UpgradePosition::of(content.version)), end_(UpgradePosition::endOf(changes)) {
        others.enter(tree_);
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run() { tree_.others().leave(); }

    UpgradeReport run() {
        VARNEK_LOG(upgradeLog, info) << "Start upgrade for: " << tree_.group()
                                     << "; FF UpgIdx: " << end_.upgrader
                                     << "; UF UpgIdx: " << position_.upgrader
                                     << "; FF ChgIdx: " << end_.change << "; UF ChgIdx: " << position_.change;
        if (position_ == end_)
            return std::move(report_);
        try {
            checkPreconditions();
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception&) {
            report_.results.preValidationExceptions.push_back(recordOfCurrentException());
            return std::move(report_);
        }
        applyAll();
        keepRecord();
        report_.hasChangedValues = tree_.hasChanged();
        return std::move(report_);
    }

  private:
    void checkPreconditions() const {
        if (changes_ == nullptr)
            throw FactoryTreeDoesNotExist(tree_.group());
        if (changes_->empty())
            throw FactoryTreeChangesAreEmpty(tree_.group());
        const bool isValid = position_ < end_ && position_.change <= changesOf(position_.upgrader).size();
        if (!isValid)
            throw InvalidPersonalSettingsVersion(tree_.group(), shown(position_));
    }

    const std::vector<ChangeRecord>& changesOf(std::uint64_t upgrader) const {
        return (*changes_)[upgrader].changes;
    }

    void applyAll() {
        for (; position_ < end_; position_ = {position_.upgrader + 1, 0}) {
            const Upgrader upgrader = upgraderOf((*changes_)[position_.upgrader]);
            VersionResults results{upgrader.versionLabel.utf8(), {}};
            try {
                for (; position_.change < upgrader.versionChanges.size(); ++position_.change) {
                    tree_.setPosition(position_, upgrader.versionLabel);
                    results.versionChanges.push_back(apply(upgrader.versionChanges[position_.change]));
                    lastChange_ = &changesOf(position_.upgrader)[position_.change];
                }
            } catch (const UpgradeInterrupted&) {
                report_.isInterrupted = true;
                report_.results.preValidationExceptions.push_back(recordOfCurrentException());
                if (!results.versionChanges.empty())
                    report_.results.results.push_back(std::move(results));
                return;
            }
            report_.results.versionLabel = results.versionLabel;
            report_.results.results.push_back(std::move(results));
        }
    }

    OperationResult apply(const SettingsFileChange& change) {
        VARNEK_LOG(upgradeLog, info) << "Apply change: " << change.getOperationName();
        OperationResult result;
        result.operation = change.getOperationName();
        result.inputs = change.getInputs();
        result.outputs = change.getOutputs();
        const auto operation = change.getOperationObject();
        const auto step = [&](auto&& action, auto& exceptions) {
            result.status = guarded(action, exceptions);
            result.upgradeFcnResults.push_back(result.status);
            return result.status == ResultStatus::succeeded;
        };
        if (step([&] { return operation->preValidate(change, tree_); }, result.preValidationExceptions))
            step([&] { return operation->apply(change, tree_); }, result.exceptionLog);
        return result;
    }

    template <class Action>
    static ResultStatus guarded(Action&& action, std::vector<ReleaseCompatibilityException>& exceptions) {
        try {
            return action();
        } catch (const UpgradeInterrupted&) {
            throw;
        } catch (const std::bad_alloc&) {
            throw;
        } catch (...) {
            exceptions.push_back(recordOfCurrentException());
            return ResultStatus::failed;
        }
    }

    void keepRecord() {
        if (position_ == UpgradePosition::of(content_.version))
            return; // it could not even begin
        VersionRecord record = content_.version.value_or(VersionRecord());
        record.upgraderIndex = position_.upgrader;
        record.changeIndex = position_.change;
        if (lastChange_ != nullptr)
            record.lastChange = *lastChange_;
        std::string& reached = report_.results.versionLabel;
        if (reached.empty())
            reached = record.releaseVersion; // none was completed
        record.releaseVersion = reached;
        report_.hasRun = true;
        content_.version = std::move(record);
    }

    SettingsFileContent& content_;
    const FactoryChanges& changes_;
    PersonalTree tree_;
    UpgradePosition position_;
    const UpgradePosition end_;
    const ChangeRecord* lastChange_ = nullptr;
    UpgradeReport report_;
};

} // namespace

Upgrader upgraderOf(const UpgraderRecord& record) {
    Upgrader upgrader{VersionLabel(record.versionLabel), {}};
    for (const ChangeRecord& change : record.changes)
        upgrader.versionChanges.emplace_back(std::string_view(change.operation), change.inputs,
                                             change.outputs);
    return upgrader;
}

VersionRecord recordAfter(const std::vector<UpgraderRecord>& changes, std::size_t upgraders) {
    VersionRecord record;
    record.upgraderIndex = upgraders;
    if (upgraders > 0)
        record.releaseVersion = VersionLabel(changes[upgraders - 1].versionLabel).utf8();
    for (std::size_t i = upgraders; i > 0 && record.lastChange.operation.empty(); --i)
        if (!changes[i - 1].changes.empty())
            record.lastChange = changes[i - 1].changes.back();
    return record;
}

UpgradeReport runUpgrade(SettingsFileContent& content, const FactoryChanges& changes, OtherGroups& others) {
    return Run(content, changes, others).run();
}

} // namespace settings::core::detail
