#include "Merge.hpp"

#include "InstallationFile.hpp"
#include "Printable.hpp"
#include "Refusal.hpp"
#include "SaveOutcome.hpp"
#include "ValueText.hpp"

#include "settingscore/exception/Exceptions.hpp"

#include <map>
#include <vector>

namespace vksettings {

namespace ex = settings::core::exception;

namespace {

/// What a merge does with the values of a file.
struct MergeReport {
    std::size_t stored = 0;
    std::vector<std::string> skipped; // names that the tree has not
};

/// `to` is the group of the same name in the tree; empty when there is none.
void compare(const settings::core::Settings& from, const Handle& to, const std::string& prefix,
             const std::string& level, MergeReport& report) {
    for (const Handle& child : from.getChildren()) {
        const std::string name = prefix + "." + child->getName();
        const Handle same = to == nullptr ? Handle() : to->getChild(child->getName());
        if (!child->isLeafNode())
            compare(*child, same, name, level, report);
        else if (!from.isSet(child->getName(), level))
            continue;
        else if (same == nullptr)
            report.skipped.push_back(name);
        else
            ++report.stored;
    }
}

/// The value that the file has for a setting of the tree; void when it cannot be told.
ShapedArray valueFor(const settings::core::Settings& setting, const Handle& input, const std::string& level) {
    const std::string name = setting.getFullName();
    const std::string above = input->getName() + ".";
    if (!name.starts_with(above))
        return {};
    try {
        const Handle same = input->getSettingsByFullName(name.substr(above.size()));
        return shapedValue(*same->getParent(), same->getName(), level);
    } catch (const ex::SettingsException&) { // an alias in the tree, for one
        return {};
    }
}

/// Refusals of one value say which.
void mergeIntoTree(const Handle& product, const Handle& input, const std::string& level) {
    const Saving saving(*product, level);
    try {
        product->mergeDescendants(input, level);
    } catch (const ex::ValidationException& failure) {
        const auto setting = failure.getCausingObject();
        const auto value = setting == nullptr ? ShapedArray() : valueFor(*setting, input, level);
        if (value.first.isVoid())
            throw;
        throw refusedValue(std::current_exception(), *setting, value, level);
    }
    saving.finish();
}

/// Stores the values in the files of the installation themselves. An alias may lead into another product's.
class InstallationMerge {
  public:
    /// `to` is the group of the same name in the tree.
    void take(const settings::core::Settings& from, const Handle& to) {
        for (const Handle& child : from.getChildren()) {
            const Handle same = to->getChild(child->getName());
            const bool isValue = child->isLeafNode() && from.isSet(child->getName(), level_);
            if (same == nullptr || (child->isLeafNode() && !isValue))
                continue;
            if (same->isLeafNode() != child->isLeafNode())
                throw ex::ErrorMergingNodesWithDiffAttr(child, same, u"isLeafNode");
            if (isValue)
                takeValue(from, {to, child->getName(), same});
            else
                take(*child, same);
        }
    }
    void save() {
        for (const auto& [product, file] : files_)
            file->save();
    }

  private:
    void takeValue(const settings::core::Settings& from, const Setting& setting) {
        auto& file = files_[productOf(setting.handle)->getName()];
        if (file == nullptr)
            file = std::make_unique<InstallationFile>(productOf(setting.handle));
        const ShapedArray value = shapedValue(from, setting.name, level_);
        try {
            file->change(setting, [&](settings::core::Settings& group, const std::string& name) {
                store(group, name, value, level_);
            });
        } catch (const std::exception& failure) {
            if (!isAboutTheValue(failure))
                throw;
            throw refusedValue(std::current_exception(), *setting.itself(), value, level_);
        }
    }

    const std::string level_ = "installation";
    std::map<std::string, std::unique_ptr<InstallationFile>> files_;
};

} // namespace

void mergeInto(const Handle& input, const std::string& level, std::ostream& out) {
    const Handle product = root()->getChild(input->getName());
    if (product == nullptr)
        throw ex::InvalidNodePath(root(), input->getName());
    MergeReport report;
    compare(*input, product, input->getName(), level, report);
    if (level == "installation") {
        InstallationMerge merge;
        merge.take(*input, product);
        merge.save();
    } else {
        mergeIntoTree(product, input, level);
    }
    out << printable("merged " + counted(report.stored, "value") + " into \"" + input->getName() +
                     "\" on level \"" + level + "\"")
        << '\n';
    for (const std::string& name : report.skipped)
        out << printable("skipped " + name + ": there is no such setting") << '\n';
}

} // namespace vksettings
