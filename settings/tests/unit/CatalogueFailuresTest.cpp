// The failures from the message catalogue: identifiers, arguments, texts, and their way to another thread.
#include "settingscore/exception/CatalogueFailures.hpp"

#include <gtest/gtest.h>

#include <set>
#include <thread>

namespace {

using varnek::catalogue::Arguments;
using varnek::catalogue::Catalogue;
using varnek::catalogue::CatalogueException;

std::set<std::string> seen;

template <class E, class... Values>
void expectMessage(const std::string& identifier, const Values&... values) {
    SCOPED_TRACE(identifier);
    const E failure(values...);
    seen.insert(identifier);

    // The English text is there, and every argument is in it.
    const std::string text = failure.text(*Catalogue::english());
    EXPECT_EQ(text.find(identifier), std::string::npos) << text;
    for (const std::string& value : Arguments{values...})
        EXPECT_NE(text.find(value), std::string::npos) << text;

    std::exception_ptr carried;
    std::thread([&, copy = failure.clone()] {
        try {
            copy->rethrow();
        } catch (...) {
            carried = std::current_exception();
        }
    }).join();
    try {
        std::rethrow_exception(carried);
    } catch (const CatalogueException& caught) {
        EXPECT_EQ(typeid(caught), typeid(E));
        EXPECT_EQ(caught.identifier(), identifier);
        EXPECT_EQ(caught.arguments(), Arguments({values...}));
        EXPECT_EQ(caught.what(), text);
    }
}

TEST(CatalogueFailures, EachHasItsIdentifierArgumentsAndText) {
    {
        using namespace VARNEK::settings::core;
        expectMessage<CFunctionNotFound>("VARNEK:settings:core:CFunctionNotFound", "<1>", "<2>");
        expectMessage<SettingsLibraryNotInitialized>("VARNEK:settings:core:SettingsLibraryNotInitialized",
                                                     "<1>");
        expectMessage<JVMNotReadyForProcessingJavaFunction>(
            "VARNEK:settings:core:JVMNotReadyForProcessingJavaFunction");
        expectMessage<VARNEKFuncMustBeInvokedByExecEngine>(
            "VARNEK:settings:core:VARNEKFuncMustBeInvokedByExecEngine");
        expectMessage<ExecEngineNotReadyForProcessingMFunction>(
            "VARNEK:settings:core:ExecEngineNotReadyForProcessingMFunction");
        expectMessage<UnconvertibleType>("VARNEK:settings:core:UnconvertibleType", "<1>", "<2>");
        expectMessage<DataTypeNotMatch>("VARNEK:settings:core:DataTypeNotMatch", "<1>", "<2>");
        expectMessage<CanNotCreateTempDirectory>("VARNEK:settings:core:CanNotCreateTempDirectory", "<1>");
        expectMessage<NoWritePermissionOnDirectory>("VARNEK:settings:core:NoWritePermissionOnDirectory",
                                                    "<1>", "<2>");
        expectMessage<ErrorOverwriteFileInPrefDir>("VARNEK:settings:core:ErrorOverwriteFileInPrefDir", "<1>");
        expectMessage<ErrorCreatePreferenceDirectoryTimeStamp>(
            "VARNEK:settings:core:ErrorCreatePreferenceDirectoryTimeStamp", "<1>", "<2>");
        expectMessage<PreferenceDirectoryNotExist>("VARNEK:settings:core:PreferenceDirectoryNotExist", "<1>",
                                                   "<2>");
        expectMessage<ErrorCopyFileInPrefDir>("VARNEK:settings:core:ErrorCopyFileInPrefDir", "<1>", "<2>",
                                              "<3>");
        expectMessage<SettingsUserDirectoryNotExist>("VARNEK:settings:core:SettingsUserDirectoryNotExist");
    }
    {
        using namespace VARNEK::settings::prefdir;
        expectMessage<CreateTempPrefdirErrorSuffix>("VARNEK:settings:prefdir:CreateTempPrefdirErrorSuffix",
                                                    "<1>");
        expectMessage<FileNameTooLarge>("VARNEK:settings:prefdir:FileNameTooLarge", "<1>");
        expectMessage<InvalidArgument>("VARNEK:settings:prefdir:InvalidArgument", "<1>");
        expectMessage<FileNameConversionFailure>("VARNEK:settings:prefdir:FileNameConversionFailure", "<1>");
        expectMessage<PathNotFound>("VARNEK:settings:prefdir:PathNotFound", "<1>");
        expectMessage<BadAlloc>("VARNEK:settings:prefdir:BadAlloc", "<1>");
        expectMessage<DefaultError>("VARNEK:settings:prefdir:DefaultError", "<1>");
        expectMessage<SystemError>("VARNEK:settings:prefdir:SystemError", "<1>", "<2>");
    }
    {
        using namespace VARNEK::settings::config;
        expectMessage<ErrorAddingProductSettingsGroup>(
            "VARNEK:settings:config:ErrorAddingProductSettingsGroup", "<1>", "<2>");
        expectMessage<FactoryTreeChangesAreEmpty>("VARNEK:settings:config:FactoryTreeChangesAreEmpty", "<1>");
        expectMessage<FactoryTreeDoesNotExist>("VARNEK:settings:config:FactoryTreeDoesNotExist", "<1>");
        expectMessage<GroupOrSettingNameAlreadyExists>(
            "VARNEK:settings:config:GroupOrSettingNameAlreadyExists", "<1>");
        expectMessage<InvalidPersonalSettingsVersion>("VARNEK:settings:config:InvalidPersonalSettingsVersion",
                                                      "<1>", "<2>");
        expectMessage<PathNotRelativeToMasterFile>("VARNEK:settings:config:PathNotRelativeToMasterFile",
                                                   "<1>");
    }
    EXPECT_EQ(seen.size(), 28u);
}

TEST(CatalogueFailures, ArgumentsStandInTheirPlaces) {
    using namespace VARNEK::settings;
    const std::pair<std::string, const char*> table[] = {
        {core::CFunctionNotFound("LIBRARY", "FUNCTION").what(),
         "The library \"LIBRARY\" has no function \"FUNCTION\"."},
        {core::UnconvertibleType("HELD", "WANTED").what(),
         "A value of type \"HELD\" cannot be converted to type \"WANTED\"."},
        {core::DataTypeNotMatch("EXPECTED", "ACTUAL").what(),
         "The setting holds a value of type \"ACTUAL\", but a value of type \"EXPECTED\" was asked for."},
        {core::NoWritePermissionOnDirectory("FOLDER", "DETAIL").what(),
         "The folder \"FOLDER\" does not permit writing: DETAIL"},
        {core::ErrorCreatePreferenceDirectoryTimeStamp("PATH", "DETAIL").what(),
         "The creation time of the preferences folder could not be written to \"PATH\": DETAIL"},
        {core::PreferenceDirectoryNotExist("PATH", "DETAIL").what(),
         "The preferences folder \"PATH\" does not exist: DETAIL"},
        {core::ErrorCopyFileInPrefDir("SOURCE", "DESTINATION", "DETAIL").what(),
         "The file \"SOURCE\" could not be copied to \"DESTINATION\" in the preferences folder: DETAIL"},
        {prefdir::SystemError("PATH", "SYSTEM").what(),
         "The preferences folder \"PATH\" could not be created: SYSTEM"},
        {config::ErrorAddingProductSettingsGroup("GROUP", "DETAIL").what(),
         "The settings group \"GROUP\" of a product could not be added: DETAIL"},
        {config::InvalidPersonalSettingsVersion("GROUP", "VERSION").what(),
         "The version VERSION recorded with the personal settings of \"GROUP\" does not fit its factory "
         "settings."},
    };
    for (const auto& [text, expected] : table)
        EXPECT_EQ(text, expected);
}

} // namespace
