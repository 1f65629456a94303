#include "Handle.hpp"

#include "Definitions.hpp"
#include "Events.hpp"
#include "Gil.hpp"
#include "Values.hpp"

#include "settingscore/ValueCheck.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "varnek/files/PathText.hpp"

#include <boost/pointer_cast.hpp>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace settings::python {

using core::MSettings;
using core::Settings;
using varnek::data::Array;
using varnek::data::TypeCode;

namespace {

using Text = const std::string&;

/// A method of a handle that only reads.
template <class Result>
auto reading(Result (Settings::*method)() const) {
    return [method](const Handle& self) { return withoutGil([&] { return (self.node.get()->*method)(); }); };
}

/// The element type of the first value that the setting took; nothing when it had none.
std::optional<TypeCode> typeSoFar(const Settings& group, Text name) {
    static constexpr std::array codes{TypeCode::character, TypeCode::logical, TypeCode::int8,
                                      TypeCode::uint8,     TypeCode::int16,   TypeCode::uint16,
                                      TypeCode::int32,     TypeCode::uint32,  TypeCode::int64,
                                      TypeCode::uint64,    TypeCode::float32, TypeCode::float64};
    const auto index = withoutGil([&]() -> boost::optional<std::uint64_t> {
        try {
            return group.getDataTypeIndex(name);
        } catch (const std::exception&) {
            return boost::none; // what is wrong is said by the operation itself
        }
    });
    if (!index || *index == 0)
        return std::nullopt;
    const TypeCode code = codes.at((*index - 1) % codes.size());
    return code == TypeCode::character && *index > codes.size() ? TypeCode::string : code;
}

ShapedValue valueFor(const Settings& group, Text name, py::handle value,
                     const std::optional<std::string>& type) {
    if (type)
        return toValue(value, {elementType(*type), std::nullopt});
    return toValue(value, {std::nullopt, typeSoFar(group, name)});
}

void set(Settings& group, Text name, py::handle value, Text level, const std::optional<std::string>& type) {
    const ShapedValue shaped = valueFor(group, name, value, type);
    withoutGil([&] {
        if (shaped.array.isVoid() || settingscore::boostany::isVectorShape(shaped.array) == shaped.isVector)
            group.set(name, shaped.array, level);
        else
            group.setAny(name, settingscore::boostany::toAny(shaped.array, shaped.isVector), level);
    });
}

py::object get(const Settings& group, Text name, Text level) {
    auto [array, isVector] = withoutGil([&] {
        auto value = settingscore::boostany::toArray(group.getAny(name, level));
        if (value.second) // as a vector it has lost its dimensions
            if (Array whole = group.get(name, level); !whole.isVoid())
                value.first = std::move(whole);
        return value;
    });
    return toPython(array, isVector);
}

/// The group of a setting, for operations that go by name.
boost::shared_ptr<Settings> groupOf(const Handle& setting) {
    auto group = withoutGil([&] { return setting.node->getParent(); });
    if (group == nullptr)
        throw py::value_error("the setting stands in no group");
    return group;
}

std::string nameOf(const Handle& node) {
    return withoutGil([&] { return node.node->getName(); });
}

std::vector<py::object> children(const Handle& self) {
    std::vector<py::object> handles;
    for (const auto& child : withoutGil([&] { return self.node->getChildren(); }))
        handles.push_back(toHandle(child));
    return handles;
}

py::list childNames(const Handle& self) {
    py::list names;
    for (const auto& child : withoutGil([&] { return self.node->getChildren(); }))
        names.append(child->getName());
    return names;
}

boost::shared_ptr<Settings> childOf(const Handle& self, Text name) {
    return withoutGil([&] { return self.node->getChild(name); });
}

/// A group as such, a setting as its value.
py::object item(const Handle& self, Text name) {
    const auto child = childOf(self, name);
    const bool isGroup = child != nullptr && withoutGil([&] { return !child->isLeafNode(); });
    return isGroup ? toHandle(child) : get(*self.node, name, {});
}

std::string represented(const Handle& self) {
    const std::string name = withoutGil([&] { return self.node->getFullName(); });
    return "<vksettings.Settings \"" + name + "\">";
}

bool same(const Handle& a, const Handle& b) {
    return Settings::equal(*a.node, *b.node);
}

std::size_t hashOf(const Handle& self) {
    return std::hash<std::u16string>()(self.node->getListenerValueChangeEventType().front());
}

py::object listen(const Handle& self, const py::function& callback, Text kind, bool onEngine) {
    const auto types = kind == "value"    ? &Settings::getListenerValueChangeEventType
                       : kind == "add"    ? &Settings::getListenerAddNodeEventType
                       : kind == "remove" ? &Settings::getListenerRemoveNodeEventType
                       : kind == "all"    ? &Settings::getGlobalListenerEventTypes
                                          : nullptr;
    if (types == nullptr)
        throw py::value_error("kind is \"value\", \"add\", \"remove\" or \"all\"");
    return subscribe(withoutGil([&] { return (self.node.get()->*types)(); }), callback, onEngine);
}

void defineValues(py::class_<Handle>& handle) {
    using namespace py::literals;
    handle
        .def(
            "get", [](const Handle& self, Text name, Text level) { return get(*self.node, name, level); },
            "name"_a, "level"_a = "", "The value of a setting of this group; None when it has none.")
        .def(
            "set",
            [](const Handle& self, Text name, py::handle value, Text level,
               const std::optional<std::string>& type) { set(*self.node, name, value, level, type); },
            "name"_a, "value"_a, "level"_a = "user", py::kw_only(), "type"_a = py::none(),
            "Stores a value. type: the class name of the elements, as \"int32\" or \"single\".")
        .def(
            "unset",
            [](const Handle& self, Text name, Text level) {
                withoutGil([&] { self.node->unset(name, level); });
            },
            "name"_a, "level"_a = "user", "Drops the value of one level.")
        .def(
            "isSet",
            [](const Handle& self, Text name, Text level) {
                return withoutGil([&] { return self.node->isSet(name, level); });
            },
            "name"_a, "level"_a = "user")
        .def(
            "check",
            [](const Handle& self, Text name, py::handle value, const std::optional<std::string>& type) {
                const Array array = valueFor(*self.node, name, value, type).array;
                const auto setting = childOf(self, name);
                if (setting == nullptr) // says that there is none
                    return static_cast<void>(withoutGil([&] { return self.node->get(name); }));
                withoutGil([&] { core::checkValue(*setting, array); });
            },
            "name"_a, "value"_a, py::kw_only(), "type"_a = py::none(),
            "Raises what a set would raise for the value's sake; stores nothing and does not ask whether the "
            "setting may be changed.")
        .def(
            "getValue",
            [](const Handle& self, Text level) { return get(*groupOf(self), nameOf(self), level); },
            "level"_a = "", "The value of this setting.")
        .def(
            "setValue",
            [](const Handle& self, py::handle value, Text level, const std::optional<std::string>& type) {
                set(*groupOf(self), nameOf(self), value, level, type);
            },
            "value"_a, "level"_a = "user", py::kw_only(), "type"_a = py::none(),
            "Stores a value of this setting.")
        .def("__getitem__", &item)
        .def("__setitem__", [](const Handle& self, Text name, py::handle value) {
            set(*self.node, name, value, "user", {});
        });
}

void defineTree(py::class_<Handle>& handle) {
    using namespace py::literals;
    handle.def("children", &children, "Handles to all groups and settings of this group, by name.")
        .def("__iter__", [](const Handle& self) { return py::iter(childNames(self)); })
        .def("__len__", [](const Handle& self) { return py::len(childNames(self)); })
        .def("__contains__", [](const Handle& self, Text name) { return childOf(self, name) != nullptr; })
        .def("__bool__", [](const Handle&) { return true; })
        .def(
            "getChild", [](const Handle& self, Text name) { return toHandle(childOf(self, name)); }, "name"_a,
            "A handle to a group or setting of this group, or None.")
        .def(
            "find",
            [](const Handle& self, Text fullName) {
                return toHandle(withoutGil([&] { return self.node->getSettingsByFullName(fullName); }));
            },
            "fullName"_a, "A handle to a node further down: names joined by \".\".")
        .def(
            "addGroup",
            [](const Handle& self, Text name, bool visible, bool readOnly, Text level) {
                return toHandle(
                    withoutGil([&] { return self.node->addGroup(name, visible, readOnly, level); }));
            },
            "name"_a, "visible"_a = true, "readOnly"_a = false, "level"_a = "user")
        .def(
            "addSetting",
            [](const Handle& self, Text name, py::handle value, bool visible, bool readOnly, Text level,
               const py::object& validator, const std::optional<std::string>& type) {
                const auto wanted = type ? std::optional(elementType(*type)) : std::nullopt;
                const Array array = toValue(value, {wanted, std::nullopt}).array;
                const core::ValidatorVariant function = validatorVariant(validator);
                return toHandle(withoutGil(
                    [&] { return self.node->addSetting(name, array, visible, readOnly, level, function); }));
            },
            "name"_a, "value"_a = py::none(), "visible"_a = true, "readOnly"_a = false, "level"_a = "user",
            "validator"_a = py::none(), py::kw_only(), "type"_a = py::none())
        .def(
            "remove", [](const Handle& self, Text name) { withoutGil([&] { self.node->removeNode(name); }); },
            "name"_a, "Removes a group or setting that was added.")
        .def(
            "mergeDescendants",
            [](const Handle& self, const Handle& other, Text level) {
                withoutGil([&] { self.node->mergeDescendants(other.node, level); });
            },
            "other"_a, "level"_a = "user", "Stores the values of a tree that importSettings made.")
        .def("listen", &listen, "callback"_a, "kind"_a = "all", py::kw_only(), "onEngine"_a = false,
             "Calls callback(event) for events of this node: \"value\", \"add\", \"remove\" or \"all\".");
}

void defineAttributes(py::class_<Handle>& handle) {
    handle.def_property_readonly("name", reading(&Settings::getName))
        .def_property_readonly("fullName", reading(&Settings::getFullName))
        .def_property_readonly("isRoot", reading(&Settings::isRoot))
        .def_property_readonly("isSetting", reading(&Settings::isLeafNode))
        .def_property_readonly("readOnly", reading(&Settings::isReadOnly))
        .def_property_readonly("visible", reading(&Settings::isVisible))
        .def_property_readonly("isConnected", reading(&Settings::isConnectedToTheSettingsTree))
        .def_property_readonly("originLevel", reading(&Settings::getOriginLevel))
        .def_property_readonly("aliasName", reading(&Settings::getAliasName))
        .def_property_readonly(
            "rootIndex",
            [](const Handle& self) { return withoutGil([&] { return self.node->getRootIndex().index(); }); })
        .def_property_readonly(
            "parent",
            [](const Handle& self) { return toHandle(withoutGil([&] { return self.node->getParent(); })); })
        .def("__repr__", &represented)
        .def("__eq__",
             [](const Handle& self, const py::object& other) {
                 return py::isinstance<Handle>(other) && same(self, other.cast<const Handle&>());
             })
        .def("__hash__", &hashOf);
}

py::list setTogether(const py::dict& values, Text level, bool collect) {
    std::vector<std::pair<boost::shared_ptr<Settings>, Array>> pairs;
    for (const auto& [key, value] : values) {
        const auto& setting = key.cast<const Handle&>();
        const auto group = groupOf(setting);
        pairs.emplace_back(setting.node, valueFor(*group, nameOf(setting), value, {}).array);
    }
    py::list failures;
    for (const auto& failure : withoutGil([&] { return Settings::setTogether(pairs, level, collect); }))
        failures.append(py::make_tuple(failure.first, failure.second));
    return failures;
}

void exportSettings(const std::vector<Handle>& nodes, const std::filesystem::path& path, Text level) {
    std::vector<boost::shared_ptr<const Settings>> exported;
    for (const Handle& node : nodes)
        exported.push_back(node.node);
    withoutGil([&] { Settings::exportSettings(exported, varnek::files::utf16FromPath(path), level); });
}

} // namespace

py::object toHandle(const boost::shared_ptr<const Settings>& node) {
    if (node == nullptr)
        return py::none();
    return py::cast(Handle{MSettings::of(boost::const_pointer_cast<Settings>(node))});
}

void defineHandle(py::module_& module) {
    using namespace py::literals;
    py::class_<Handle> handle(module, "Settings", "A handle to one group or one setting.");
    defineValues(handle);
    defineTree(handle);
    defineAttributes(handle);
    defineDefinitions(module, handle);
    module.def("setTogether", &setTogether, "values"_a, "level"_a = "user", "collect"_a = false,
               "Stores all values of a dict {setting: value} or, when one is refused, none. With collect, "
               "returns the "
               "refusals as (full name, message).");
    module.def("exportSettings", &exportSettings, "nodes"_a, "path"_a, "level"_a = "user",
               "Writes the values of a level into a settings file.");
    module.def(
        "importSettings",
        [](const std::filesystem::path& path, Text level) {
            return toHandle(withoutGil([&] {
                return Settings::importAsStandaloneObject(varnek::files::utf16FromPath(path), level);
            }));
        },
        "path"_a, "level"_a = "user", "Reads a settings file into a tree of its own.");
}

} // namespace settings::python
