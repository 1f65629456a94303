#include "settingscore/settings/file/FileFailureText.hpp"

#include "opc/PackageError.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/exception/MessageText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "varnek/files/PathText.hpp"

namespace settings::core::detail {

void logCaught(std::string_view text, const std::filesystem::path& file) {
    const bool isNamed = text.find(file.filename().string()) != std::string_view::npos;
    VARNEK_LOG(fileLog, error) << "Exception caught: " << (text.empty() ? "Unknown" : text)
                               << (isNamed ? "" : "; file: " + file.string());
}

std::string notWrittenText(std::string_view cause) {
    return "Failed to write settings file; Error: " + std::string(cause.empty() ? "Unknown" : cause);
}

void throwNotWritten(const std::filesystem::path& file, std::string_view cause) {
    VARNEK_LOG(fileLog, error) << notWrittenText(cause);
    throw exception::SettingsFileNotWritten(varnek::files::utf16FromPath(file),
                                            shownText(cause.empty() ? "Unknown" : cause));
}

std::string causeOf(const opc::OpenError& failure) {
    constexpr std::string_view sentence = "Failed to open OPC Package "; // said by the exception itself
    std::string_view cause = failure.what();
    if (cause.starts_with(sentence))
        cause.remove_prefix(sentence.size());
    return std::string(cause);
}

void throwNotOpened(const opc::OpenError& failure, const std::filesystem::path& file) {
    if (failure.kind() == opc::ErrorKind::notFound)
        throw exception::FileDoesNotExist(varnek::files::utf16FromPath(file));
    throw exception::PackageCannotBeOpened(varnek::files::utf16FromPath(file), shownText(causeOf(failure)));
}

std::u16string shownText(std::string_view text) {
    return exception::detail::utf16(text);
}

} // namespace settings::core::detail
