// What the kinds of changes do to personal settings.

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/settings/upgrade/PersonalTree.hpp"
#include "settingscore/settings/upgrade/UpgradeLog.hpp"
#include "settingscore/upgrade/SettingsFileChange.hpp"

#include <stdexcept>

namespace settings::core {

using namespace detail;
using VARNEK::settings::config::GroupOrSettingNameAlreadyExists;
using VARNEK::settings::config::PathNotRelativeToMasterFile;

namespace {

void requireOurs(const PersonalTree& tree, const std::string& fullName) {
    if (!tree.isOurs(fullName))
        throw PathNotRelativeToMasterFile(fullName);
}

class MoveOperation final : public ReleaseCompatOperation {
  public:
    ResultStatus preValidate(const SettingsFileChange& change, PersonalTree& tree) const override {
        if (change.getInputs().size() != 1 || change.getOutputs().size() != 1)
            throw std::invalid_argument("a move has one input and one output");
        const std::string& from = change.getInputs().front();
        const std::string& to = change.getOutputs().front();
        requireOurs(tree, from);
        const bool staysHere = tree.isOurs(to);
        if (!tree.isWellFormed(to) || (!staysHere && !tree.others().knows(topLevelOf(to))))
            throw PathNotRelativeToMasterFile(to);
        if (!tree.holds(from))
            return ResultStatus::failed;
        if (from == to || (staysHere && !tree.isFreeWithout(to, from)))
            throw GroupOrSettingNameAlreadyExists(to);
        if (!staysHere && tree.isSecret())
            throw std::runtime_error("values of an encrypted file do not move to another file");
        return ResultStatus::succeeded;
    }

    ResultStatus apply(const SettingsFileChange& change, PersonalTree& tree) const override {
        const PersonalNode from{tree, change.getInputs().front()};
        const std::string& to = change.getOutputs().front();
        if (tree.isOurs(to)) {
            moveValue(from, {tree, to});
            return ResultStatus::succeeded;
        }
        const auto place = tree.others().open(tree, to);
        VARNEK_LOG(upgradeLog, info) << "SRC: Moving a value between top level nodes from " << from.fullName
                                     << " to " << to;
        if (place)
            moveValue(from, *place);
        else
            tree.erase(from.fullName); // a later change has removed it there
        return ResultStatus::succeeded;
    }
};

class RemoveOperation final : public ReleaseCompatOperation {
  public:
    ResultStatus preValidate(const SettingsFileChange& change, PersonalTree& tree) const override {
        if (change.getInputs().size() != 1)
            throw std::invalid_argument("a removal has one input");
        const std::string& path = change.getInputs().front();
        requireOurs(tree, path);
        if (!tree.isWellFormed(path))
            return ResultStatus::failed;
        if (tree.holds(path))
            return ResultStatus::succeeded;
        const std::string inTheWay = tree.settingInTheWay(path);
        if (!inTheWay.empty())
            throw GroupOrSettingNameAlreadyExists(inTheWay);
        return ResultStatus::skipped;
    }

    ResultStatus apply(const SettingsFileChange& change, PersonalTree& tree) const override {
        tree.erase(change.getInputs().front());
        return ResultStatus::succeeded;
    }
};

class InvalidOperation final : public ReleaseCompatOperation {
  public:
    ResultStatus preValidate(const SettingsFileChange& change, PersonalTree&) const override {
        throw std::invalid_argument("\"" + change.getOperationName() + "\" is no operation");
    }
    ResultStatus apply(const SettingsFileChange&, PersonalTree&) const override {
        return ResultStatus::failed;
    }
};

} // namespace

ReleaseCompatOperation::~ReleaseCompatOperation() = default;

void ReleaseCompatOperation::moveValue(const PersonalNode& from, const PersonalNode& to) const {
    if (&from.tree == &to.tree) {
        from.tree.move(from.fullName, to.fullName);
        return;
    }
    to.tree.put(to.fullName, from.tree.copyOf(from.fullName));
    from.tree.erase(from.fullName);
}

std::shared_ptr<const ReleaseCompatOperation> ReleaseCompatOperation::of(ReleaseCompatOps kind) {
    static const std::shared_ptr<const ReleaseCompatOperation> move = std::make_shared<MoveOperation>();
    static const std::shared_ptr<const ReleaseCompatOperation> remove = std::make_shared<RemoveOperation>();
    static const std::shared_ptr<const ReleaseCompatOperation> invalid = std::make_shared<InvalidOperation>();
    switch (kind) {
    case ReleaseCompatOps::move:
        return move;
    case ReleaseCompatOps::remove:
        return remove;
    case ReleaseCompatOps::invalid:
        break;
    }
    return invalid;
}

} // namespace settings::core
