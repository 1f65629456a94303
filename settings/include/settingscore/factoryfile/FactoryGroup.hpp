/// Definitions under construction: a group of settings outside every tree of the process, from which
/// FactoryFileGenerator writes a factory file.
///
///     using varnek::data::Array;
///     using varnek::settings::FactoryGroup;
///
///     FactoryGroup editor("editor");
///     FactoryGroup font = editor.addGroup("font");
///
///     settings::core::NumericMetaData<settings::core::MustBeScalar> points;
///     points.mustBeInteger();
///     points.setMinValue(6);
///     points.setMaxValue(72);
///     font.addSetting("size", FactoryGroup::Properties(true, false, Array::scalar(std::int32_t{12}), {}, {},
///                                                      false, false, {points}));
///
///     varnek::settings::FactoryFileGenerator(editor).write("/opt/workbench/editor.vksettings");
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/validation/FactorySettingProperties.hpp"
#include "json/Value.hpp"

#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace settings::core::detail {
struct GroupRecord;
}

namespace varnek::settings {

/// A group or setting of a description. A shared handle.
class SETTINGSCORE_EXPORT FactorySettingNode {
  public:
    std::string getName() const { return handle_->getName(); }
    bool isGroup() const { return !handle_->isLeafNode(); }

  private:
    friend class FactoryGroup;
    explicit FactorySettingNode(boost::shared_ptr<const ::settings::core::Settings> handle) noexcept
        : handle_(std::move(handle)) {}

    boost::shared_ptr<const ::settings::core::Settings> handle_;
};

/// A shared handle: copies refer to the same group. All operations may be called from any thread; each takes
/// the group as it stands.
///
/// What is added must be fit for a file, unless the group is for this process only (Use::process), where C++
/// callables may serve as functions: InvalidSettingOrGroupName for a name that is empty, no valid UTF-8
/// or too long for the names of files; SameNameChildAlreadyExisted; UnsupportedType for a value that no
/// setting can hold; InvalidDefinition for a value that all of its validators refuse, for bounds that exclude
/// each other, for a C++ callable as validator, and for attributes that have a meaning of their own and are
/// wrong. Nothing has been added then.
class SETTINGSCORE_EXPORT FactoryGroup {
  public:
    using Properties = ::settings::core::detail::FactorySettingProperties;

    enum class Use : bool { file, process };

    /// A top-level group. Of `properties`, the flags and the validation function count. `attributes` may hold
    /// anything; "title" and "description" are shown to users and must be strings.
    explicit FactoryGroup(std::string_view name, const Properties& properties = {},
                          const json::Object& attributes = {}, Use use = Use::file);

    FactoryGroup addGroup(std::string_view name, const Properties& properties = {},
                          const json::Object& attributes = {});

    /// A void value defines a setting without one. `isVector` tells a vector of one element from a scalar;
    /// absent: false for one element and for one text. The attribute "aliasName" is taken for the property.
    /// Of a run-time default in C the names count; an error handler does not reach the file.
    void addSetting(std::string_view name, const Properties& properties = {},
                    const json::Object& attributes = {}, boost::optional<bool> isVector = boost::none);

    std::string getName() const;
    /// From the top-level group down, joined by ".".
    std::string getFullName() const;
    /// In ascending byte order of their names.
    std::vector<FactoryGroup> getGroups() const;
    /// Groups and settings, in ascending byte order of their names.
    std::vector<FactorySettingNode> getNodes() const;
    std::vector<std::string> getSettingNames() const;
    /// Of this group itself.
    Properties getProperties() const;
    json::Object getAttributes() const;
    /// Of a setting directly below; NoSuchKey, NotAKeyName.
    Properties getProperties(std::string_view setting) const;
    json::Object getAttributes(std::string_view setting) const;

    /// The same group for reading it like any other.
    boost::shared_ptr<const ::settings::core::Settings> getSettings() const { return handle_; }

  private:
    friend class FactoryFileGenerator;
    FactoryGroup(boost::shared_ptr<::settings::core::Settings> handle, Use use) noexcept
        : handle_(std::move(handle)), use_(use) {}
    static FactoryGroup from(::settings::core::detail::GroupRecord&& record);

    boost::shared_ptr<::settings::core::Settings> handle_;
    Use use_ = Use::file;
};

} // namespace varnek::settings
