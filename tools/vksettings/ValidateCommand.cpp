// validate: which values the definitions do not allow.

#include "Commands.hpp"
#include "Printable.hpp"
#include "Refusal.hpp"
#include "TargetFile.hpp"
#include "Tree.hpp"
#include "ValueText.hpp"

#include "settingscore/SaveReport.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/ValueCheck.hpp"
#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "varnek/files/PathText.hpp"
#include "json/Writer.hpp"

#include <cxxabi.h>

#include <filesystem>

namespace vksettings {

namespace json = varnek::json;
using settings::core::Settings;
using varnek::data::Array;

namespace {

/// Collects what was found, and writes it at the end.
class Findings {
  public:
    Findings(bool asJson, std::ostream& out) : asJson_(asJson), out_(out) {}

    void checked(std::size_t count) { checked_ += count; }
    void failed(const std::string& name, const std::string& level, const Array& value,
                const std::string& rule) {
        ++failed_;
        if (asJson_)
            add("failed", name, level, value, rule);
        else
            out_ << printable(name + " = " + shownBriefly(value) +
                              (level.empty() ? "" : "  (" + level + ")") + ": " + rule)
                 << '\n';
    }
    void unknown(const std::string& name, const Array& value) {
        ++unknown_;
        if (asJson_)
            add("unknown", name, {}, value, "there is no such setting");
        else
            out_ << printable("unknown " + name + ": there is no such setting") << '\n';
    }
    ExitCode finish() {
        if (asJson_)
            out_ << json::writeIndented(json::Value(std::move(objects_))) << '\n';
        else
            out_ << "checked " << counted(checked_, "value") << ", " << failed_ << " failed"
                 << (unknown_ == 0 ? "" : ", " + std::to_string(unknown_) + " unknown") << '\n';
        return failed_ == 0 ? done : refused;
    }

  private:
    void add(const char* finding, const std::string& name, const std::string& level, const Array& value,
             const std::string& rule) {
        json::Object object;
        object.set("name", jsonText(name));
        object.set("finding", finding);
        object.set("level", level.empty() ? json::Value() : json::Value(level));
        object.set("value", asJson(value));
        object.set("type", json::Value(varnek::data::className(value.type())));
        object.set("rule", jsonText(rule));
        objects_.push_back(std::move(object));
    }

    const bool asJson_;
    std::ostream& out_;
    json::Array objects_;
    std::size_t checked_ = 0, failed_ = 0, unknown_ = 0;
};

/// Calls `found` for a value that is refused, with the rule.
template <class Found>
void check(const Settings& setting, const ShapedArray& shaped, Found found) {
    const auto& [value, isVector] = shaped;
    try {
        settings::core::checkValue(setting, value, isVector);
    } catch (const abi::__forced_unwind&) { // the end of the thread, which nothing may stop
        throw;
    } catch (...) { // a validation function may throw anything
        found(brokenRule(std::current_exception(), setting, value));
    }
}

/// `to` is the group of the same name in the tree; empty when there is none.
void checkFile(const Settings& from, const Handle& to, const std::string& prefix, Findings& findings) {
    for (const Handle& child : from.getChildren()) {
        const std::string name = prefix + "." + child->getName();
        const Handle same = to == nullptr || to->isLeafNode() ? Handle() : to->getChild(child->getName());
        if (!child->isLeafNode()) {
            checkFile(*child, same, name, findings);
            continue;
        }
        const ShapedArray shaped = shapedValue(from, child->getName(), "user");
        const Array& value = shaped.first;
        if (value.isVoid())
            continue;
        if (same == nullptr || !same->isLeafNode()) {
            findings.unknown(name, value);
            continue;
        }
        findings.checked(1);
        check(*same, shaped, [&](const std::string& rule) { findings.failed(name, {}, value, rule); });
    }
}

void checkTree(const Settings& node, Findings& findings) {
    if (node.isRoot()) {
        for (const Handle& group : node.getChildren())
            if (canBeLoaded(group))
                checkTree(*group, findings);
        return;
    }
    findings.checked(settings::core::checkStoredValues(node, [&](const auto& refused) {
        findings.failed(refused.setting->getFullName(), std::string(refused.level), refused.value,
                        brokenRule(refused.failure, *refused.setting, refused.value));
    }));
}

/// Values of a file that could not be read were not checked.
bool isComplete(const Settings& node) {
    for (const auto& problem : settings::core::detail::getLoadProblems(settings::core::DefaultRootIndex()))
        for (const char* level : {"user", "installation"})
            if (node.isRoot() || (!settings::core::isRemote(node) &&
                                  settings::core::lastSave(node, level).file == problem.file))
                return false;
    return true;
}

/// The group or setting of that name; empty when a file is meant.
Handle named(const std::string& target) {
    if (target.empty())
        return root();
    if (target.find('/') != std::string::npos)
        return {};
    try {
        return resolve(target);
    } catch (const settings::core::exception::InvalidNodePath&) {
        std::error_code ignored;
        if (target.ends_with(Settings::settingsExtension) || std::filesystem::exists(target, ignored))
            return {};
        throw;
    }
}

} // namespace

ExitCode validate(const ValidateOptions& options, std::ostream& out) {
    Findings findings(options.json, out);
    if (const Handle node = named(options.target)) {
        checkTree(*node, findings);
        const ExitCode code = findings.finish();
        return isComplete(*node) ? code : fileOrSystem;
    }
    const auto file = varnek::files::utf16FromPath(absolutePath(options.target));
    const Handle input = Settings::importAsStandaloneObject(file, "user");
    checkFile(*input, root()->getChild(input->getName()), input->getName(), findings);
    return findings.finish();
}

} // namespace vksettings
