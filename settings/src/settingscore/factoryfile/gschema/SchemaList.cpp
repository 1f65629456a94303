#include "settingscore/factoryfile/gschema/SchemaList.hpp"

#include "settingscore/factoryfile/InvalidDefinition.hpp"
#include "varnek/xml/Element.hpp"

#include <algorithm>

namespace settings::core::detail {

using varnek::settings::InvalidDefinition;
using varnek::xml::Element;

namespace {

std::string attribute(const Element& element, std::string_view name) {
    const std::string* value = element.attribute(name);
    return value == nullptr ? std::string() : *value;
}

std::optional<std::string> optionalAttribute(const Element& element, std::string_view name) {
    const std::string* value = element.attribute(name);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

/// Without blanks around it; blanks inside become single ones, empty lines the borders of paragraphs.
std::string prose(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    std::string result;
    while (true) {
        const auto start = text.find_first_not_of(blanks);
        if (start == std::string_view::npos)
            return result;
        const std::string_view gap = text.substr(0, start);
        if (!result.empty())
            result += std::count(gap.begin(), gap.end(), '\n') > 1 ? "\n\n" : " ";
        const auto end = std::min(text.find_first_of(blanks, start), text.size());
        result += text.substr(start, end - start);
        text.remove_prefix(end);
    }
}

class ListReader {
  public:
    explicit ListReader(const std::string& file) : file_(file) {}

    SchemaList read(const Element& root) {
        if (root.name != "schemalist")
            refuse(root, "the root element is \"" + root.name + "\", not \"schemalist\"");
        const std::string domain = attribute(root, "gettext-domain");
        for (const Element& child : root.children) {
            if (child.name == "schema")
                list_.add(only(schema(child, domain)));
            else if (child.name == "enum" || child.name == "flags")
                list_.add(only(child));
            else
                refuse(child, "the element \"" + child.name + "\" has no place in a schema list");
        }
        return std::move(list_);
    }

  private:
    [[noreturn]] void refuse(const Element& element, const std::string& rule) const {
        throw InvalidDefinition(file_, {{"line " + std::to_string(element.line), rule}});
    }
    std::string required(const Element& element, std::string_view name) const {
        if (const std::string* value = element.attribute(name); value != nullptr && !value->empty())
            return *value;
        refuse(element,
               "the element \"" + element.name + "\" has no attribute \"" + std::string(name) + "\"");
    }
    void noteUnknown(const Element& element, const std::string& id, const std::string& where) {
        list_.unmapped.push_back({id, "", "the element \"" + element.name + "\"" + where + " is unknown"});
    }

    static SchemaList only(Schema schema) {
        SchemaList list;
        list.insert(std::move(schema));
        return list;
    }
    SchemaList only(const Element& enumeration) const {
        SchemaList list;
        SchemaEnumeration& values = list.enumerations[required(enumeration, "id")];
        for (const Element& value : enumeration.children)
            values.emplace_back(required(value, "nick"), attribute(value, "value"));
        return list;
    }

    Schema schema(const Element& element, const std::string& domain) {
        Schema result;
        result.id = required(element, "id");
        result.path = optionalAttribute(element, "path");
        result.extends = attribute(element, "extends");
        result.listOf = attribute(element, "list-of");
        result.gettextDomain = optionalAttribute(element, "gettext-domain").value_or(domain);
        for (const Element& child : element.children) {
            if (child.name == "key")
                result.keys.push_back(key(child, result.id));
            else if (child.name == "child")
                result.children.emplace_back(required(child, "name"), required(child, "schema"));
            else if (child.name == "override")
                result.overrides.emplace_back(required(child, "name"), defaultOf(child));
            else
                noteUnknown(child, result.id, "");
        }
        return result;
    }

    static SchemaDefault defaultOf(const Element& element) {
        return {element.text, attribute(element, "l10n"), attribute(element, "context")};
    }

    SchemaKey key(const Element& element, const std::string& id) {
        SchemaKey result;
        result.name = required(element, "name");
        result.type = attribute(element, "type");
        result.enumeration = attribute(element, "enum");
        result.flags = attribute(element, "flags");
        for (const Element& child : element.children) {
            if (child.name == "default")
                result.defaultValue = defaultOf(child);
            else if (child.name == "summary")
                result.summary = prose(child.text);
            else if (child.name == "description")
                result.description = prose(child.text);
            else if (child.name == "range")
                result.min = optionalAttribute(child, "min"), result.max = optionalAttribute(child, "max");
            else if (child.name == "choices")
                result.choices = choices(child);
            else if (child.name == "aliases")
                result.aliases = aliases(child);
            else
                noteUnknown(child, id, " of the key \"" + result.name + "\"");
        }
        return result;
    }

    std::vector<std::string> choices(const Element& element) const {
        std::vector<std::string> values;
        for (const Element& choice : element.children) {
            const std::string* value = choice.attribute("value");
            if (choice.name != "choice" || value == nullptr) // the empty text is a choice
                refuse(choice, "a choice without value");
            values.push_back(*value);
        }
        return values;
    }
    std::vector<std::pair<std::string, std::string>> aliases(const Element& element) const {
        std::vector<std::pair<std::string, std::string>> values;
        for (const Element& alias : element.children)
            values.emplace_back(required(alias, "value"), required(alias, "target"));
        return values;
    }

    const std::string& file_;
    SchemaList list_;
};

} // namespace

const Schema* SchemaList::find(std::string_view id) const noexcept {
    const auto found = places_.find(id);
    return found == places_.end() ? nullptr : &schemas[found->second];
}

bool SchemaList::insert(Schema schema) {
    if (!places_.emplace(schema.id, schemas.size()).second)
        return false;
    schemas.push_back(std::move(schema));
    return true;
}

void SchemaList::add(SchemaList other) {
    for (Schema& schema : other.schemas) {
        if (find(schema.id) == nullptr) {
            insert(std::move(schema));
            continue;
        }
        unmapped.push_back({schema.id, "", "the schema is defined twice; the first definition counts"});
        noteKeys(schema, "its schema is defined twice", unmapped);
    }
    for (auto& [id, values] : other.enumerations) {
        const auto [known, isNew] = enumerations.try_emplace(id, values);
        if (!isNew && known->second != values)
            unmapped.push_back({id, "", "the enumeration is defined twice; the first definition counts"});
    }
    std::move(other.unmapped.begin(), other.unmapped.end(), std::back_inserter(unmapped));
}

SchemaList readSchemaList(std::string_view text, const std::string& file) {
    try {
        return ListReader(file).read(varnek::xml::parse(text));
    } catch (const varnek::xml::XmlError& error) {
        const std::string line = "line " + std::to_string(error.line());
        throw InvalidDefinition(file, {{line, std::string(error.what()).substr(line.size() + 2)}});
    }
}

void noteKeys(const Schema& schema, const std::string& reason,
              std::vector<varnek::settings::UnmappedItem>& unmapped) {
    for (const SchemaKey& key : schema.keys)
        unmapped.push_back({schema.id, key.name, reason});
}

} // namespace settings::core::detail
