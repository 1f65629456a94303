/// Refusing a settings file: every message names file, part, place in the part and the rule that is broken.
#pragma once

#include "settingscore/exception/FileFailures.hpp"
#include "json/ParseError.hpp"
#include "json/Value.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace settings::core::detail {

using ReadError = exception::ErrorReadingSettingsData::ErrorCode;

/// The part that is being read.
struct FilePlace {
    const std::filesystem::path& file;
    std::string part; // UTF-8; empty: the file as a whole

    /// Raises ErrorReadingSettingsData; its detail is `"<file>", part "<part>": <path>: <rule>`.
    [[noreturn]] void refuse(ReadError code, std::string_view path, std::string_view rule) const;
    /// The same for a part that is no JSON. The code is the parse failure's own.
    [[noreturn]] void refuse(const varnek::json::ParseError& error) const;

    varnek::json::Object parseObject(std::string_view text) const;
    varnek::json::Value parse(std::string_view text) const;
};

/// Typed access to the members of one JSON object of a part. A view: refers to everything it is given.
class MemberReader {
  public:
    static constexpr std::size_t noIndex = static_cast<std::size_t>(-1);

    /// The object stands at `path`, or is element `index` of the array there. The path is put together for
    /// messages only.
    MemberReader(const varnek::json::Object& object, std::string_view path, const FilePlace& place,
                 std::size_t index = noIndex)
        : object_(object), path_(path), index_(index), place_(place) {}

    const varnek::json::Object& object() const noexcept { return object_; }
    const FilePlace& place() const noexcept { return place_; }
    std::string path() const;
    std::string pathOf(std::string_view key) const { return path() + "." + std::string(key); }

    /// Null when the member is absent. What is there must be of the kind asked for.
    const varnek::json::Value* find(std::string_view key) const noexcept { return object_.find(key); }
    std::optional<bool> boolean(std::string_view key) const;
    std::optional<std::string> string(std::string_view key) const;
    const varnek::json::Object* object(std::string_view key) const;
    const varnek::json::Array* array(std::string_view key) const;
    /// Exact; a whole number written as a double counts.
    std::optional<std::uint64_t> count(std::string_view key) const;

    [[noreturn]] void refuse(ReadError code, std::string_view key, std::string_view rule) const {
        place_.refuse(code, pathOf(key), rule);
    }

  private:
    const varnek::json::Object& object_;
    std::string_view path_;
    std::size_t index_;
    const FilePlace& place_;
};

} // namespace settings::core::detail
