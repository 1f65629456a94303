#include "settingscore/settings/prefdir/FillRecord.hpp"

#include "settingscore/settings/prefdir/PrefdirLog.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/PathText.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

namespace settings::core::detail {

namespace json = varnek::json;
namespace files = varnek::files;

namespace {

constexpr std::uint64_t maximumBytes = std::uint64_t{16} << 20;
constexpr std::string_view createdByKey = "createdBy", createdKey = "created", sourceKey = "filledFrom",
                           releaseKey = "release", directoryKey = "directory", filesKey = "files",
                           skippedKey = "skipped";

/// Names and paths are bytes; JSON holds them as UTF-16.
json::Array texts(const std::vector<std::string>& names) {
    json::Array array;
    for (const std::string& name : names)
        array.push_back(json::Value(files::messageUtf16(name)));
    return array;
}

std::vector<std::string> names(const json::Value& value) {
    std::vector<std::string> result;
    for (const json::Value& name : value.asArray())
        result.push_back(files::messageUtf8(name.asUtf16()));
    return result;
}

PreferencesDirectoryFill understood(const json::Object& record) {
    PreferencesDirectoryFill fill{
        std::string(record.at(createdByKey).asString()), std::string(record.at(createdKey).asString()), {}};
    if (const json::Value& value = record.at(sourceKey); !value.isNull()) {
        const json::Object& source = value.asObject();
        fill.source = {std::string(source.at(releaseKey).asString()), source.at(directoryKey).asUtf16(),
                       names(source.at(filesKey)), names(source.at(skippedKey))};
    }
    return fill;
}

} // namespace

std::string writtenRecord(const PreferencesDirectoryFill& fill) {
    json::Object record;
    record.set(createdByKey, fill.createdBy);
    record.set(createdKey, fill.created);
    json::Value& source = record.set(sourceKey, nullptr);
    if (fill.source) {
        json::Object from;
        from.set(releaseKey, fill.source->release);
        from.set(directoryKey, fill.source->directory);
        from.set(filesKey, texts(fill.source->files));
        from.set(skippedKey, texts(fill.source->skipped));
        source = std::move(from);
    }
    return json::writeIndented(std::move(record)) + "\n";
}

std::optional<PreferencesDirectoryFill> readFillRecord(const std::filesystem::path& prefdir) {
    const auto file = prefdir / fillRecordFile;
    try {
        return understood(json::parseObject(files::readFile(file, maximumBytes)));
    } catch (const files::FileError& failure) {
        if (failure.kind() != files::FileErrorKind::notFound)
            PrefdirLine(varnek::log::Severity::warning) << failure.what();
    } catch (const std::exception& failure) {
        PrefdirLine(varnek::log::Severity::warning)
            << "cannot understand \"" << files::shownName(file.native()) << "\": " << failure.what();
    }
    return std::nullopt;
}

bool hasMigrationMarker(const std::filesystem::path& prefdir) {
    std::error_code ignored;
    return std::filesystem::exists(prefdir / migrationMarkerFile, ignored);
}

} // namespace settings::core::detail
