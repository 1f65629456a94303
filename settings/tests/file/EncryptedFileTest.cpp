// Encrypted personal files: read with the key manager's help, never written, never shown.

#include "support/FileTree.hpp"

#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkFactory.h"
#include "opc/model/Package.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/security/KeyManager.hpp"
#include "settingscore/security/SecurityPlugin.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/upgrade/UserSettingsUpgrade.hpp"
#include "varnek/files/PathText.hpp"

#include <gtest/gtest.h>

namespace {

using namespace settings::test;
using namespace settings::core::detail;
namespace security = settings::security;
using settings::core::exception::ErrorLoadingLibrary;

/// A process of its own as far as services go; the installation holds the reference key manager.
struct EncryptedFiles : testing::Test {
    void SetUp() override {
        plugins = folder / "installed/bin/linux64/settings_plugins";
        std::filesystem::create_directories(plugins);
        framework.Start();
        security::detail::setPluginSource(
            {[this] { return folder / "installed"; }, [this] { return framework.GetBundleContext(); }});
        const FileTree tree(folder.path());
        define(tree)->set("s", 1.0, "user");
        file = tree.file("g");
        encrypt(file, "correct horse");
        bytes = bytesOf(file);
        log.take();
    }
    void TearDown() override {
        security::detail::setPluginSource({});
        framework.Stop();
        framework.WaitForStop(std::chrono::seconds(0));
    }

    void installPlugin() const {
        const std::filesystem::path library = KEY_MANAGER_PLUGIN;
        const auto target = plugins / library.filename();
        std::filesystem::copy_file(library, target);
        std::filesystem::permissions(target, std::filesystem::perms(0755));
        std::filesystem::copy_file(library.string() + ".json", target.string() + ".json");
    }
    static Handle define(const FileTree& tree) {
        const Handle group = tree.group("g");
        TestTree::setting(group, "s", Array::scalar(0.0));
        tree.load(group);
        return group;
    }
    /// Neither changes nor removals reach the file.
    void expectUntouchedBy(const FileTree& tree, const Handle& group) {
        log.take();
        for (const double value : {2.0, 3.0, 4.0})
            group->set("s", value, "user");
        EXPECT_EQ(4.0, group->get<double>("s"));
        EXPECT_EQ(SaveOutcome::encrypted, tree.status("g").saved);
        group->unset("s", "user");
        EXPECT_EQ(4U,
                  log.take("Don't write file because it was previously encrypted: " + file.string()).size());
        tree.keeper->requestDelete(SettingsAccess::node(*group), nullptr, LevelIndex::user);
        EXPECT_EQ(SaveOutcome::encrypted, tree.status("g").saved);
        EXPECT_EQ(bytes, bytesOf(file));
        const auto package = opc::model::Package::open(file);
        EXPECT_TRUE(opc::qfservices::FileSystemManager(package).isEncrypted());
        EXPECT_EQ(std::vector<std::string>{"g.vksettings"}, namesIn(folder / "user"));
    }

    TempFolder folder;
    std::filesystem::path plugins;
    std::filesystem::path file;
    std::string bytes;
    cppmicroservices::Framework framework = cppmicroservices::FrameworkFactory().NewFramework();
    FileLogLines log;
};

TEST_F(EncryptedFiles, ReadWithTheKeyAndLeftAsTheyAre) {
    installPlugin();
    security::addSecret(u"g.vksettings", "correct horse");
    const FileTree tree(folder.path());
    const Handle group = define(tree);
    EXPECT_EQ(LoadOutcome::ok, tree.status("g").loaded) << tree.status("g").loadMessage;
    EXPECT_TRUE(tree.status("g").isEncrypted);
    EXPECT_EQ(1.0, group->get<double>("s", "user"));
    EXPECT_EQ(1U, log.take("Create setting from file: s for level: user with value: (encrypted)").size());
    expectUntouchedBy(tree, group);
}

/// Whether it can be read or not: an upgrade would have to write it.
TEST_F(EncryptedFiles, TakeNoValuesOfOtherGroups) {
    installPlugin();
    security::addSecret(u"g.vksettings", "correct horse");
    const auto start = [&](const std::string& setting, std::vector<UpgraderRecord> upgraders) {
        FileTree tree(folder.path());
        const auto upgrade = std::make_shared<UserSettingsUpgrade>();
        tree.keeper->setUpgrade(upgrade);
        upgrade->setFactoryChanges("g", {});
        upgrade->setFactoryChanges("other", std::move(upgraders));
        define(tree);
        const Handle other = tree.group("other");
        TestTree::setting(other, setting, Array::scalar(0.0));
        tree.load(other);
        return tree;
    };
    start("a", {}).root->getChild("other")->set("a", 5.0, "user");
    start("b", {{u"R2025a", {{"move", {"other.a"}, {"g.a"}}}}});
    EXPECT_EQ(bytes, bytesOf(file));
    EXPECT_EQ(5.0, start("a", {}).root->getChild("other")->get<double>("a", "user"));
}

TEST_F(EncryptedFiles, WithoutPluginOrKeyTheyStayUnread) {
    { // no plug-in
        const FileTree tree(folder.path());
        const Handle group = define(tree);
        EXPECT_EQ(LoadOutcome::unreadable, tree.status("g").loaded);
        EXPECT_TRUE(tree.status("g").isEncrypted);
        EXPECT_FALSE(group->isSet("s", "user"));
        EXPECT_EQ(1U, log.take("failed to load settings security plugin").size());
        std::string cause;
        try {
            security::getSecret(u"g.vksettings");
        } catch (const ErrorLoadingLibrary& failure) {
            cause = varnek::files::messageUtf8(failure.getSystemMessage());
        }
        EXPECT_NE("", cause);
        EXPECT_NE(std::string::npos, tree.status("g").loadMessage.find(cause))
            << tree.status("g").loadMessage;
        log.take();
        expectUntouchedBy(tree, group);
    }
    installPlugin();
    for (const char* password : {"", "wrong"}) { // no key, a wrong key
        if (*password != '\0')
            security::addSecret(u"g.vksettings", password);
        const FileTree tree(folder.path());
        const Handle group = define(tree);
        EXPECT_EQ(LoadOutcome::unreadable, tree.status("g").loaded);
        EXPECT_NE(std::string::npos, tree.status("g").loadMessage.find("Error code: -5"));
        EXPECT_FALSE(group->isSet("s", "user"));
        expectUntouchedBy(tree, group);
    }
}

TEST_F(EncryptedFiles, AFileThatWasEncryptedAfterItWasReadIsNotReplacedEither) {
    std::filesystem::remove(file);
    const FileTree tree(folder.path());
    const Handle group = define(tree);
    group->set("s", 5.0, "user");
    encrypt(file, "correct horse");
    bytes = bytesOf(file);
    expectUntouchedBy(tree, group);
}

TEST_F(EncryptedFiles, ExportNeverReplacesThemAndImportNeedsTheKey) {
    const std::u16string path = varnek::files::utf16FromPath(file);
    std::filesystem::rename(file, folder / "kept");
    const FileTree tree(folder.path());
    const Handle group = define(tree);
    std::filesystem::rename(folder / "kept", file);
    EXPECT_THROW(settings::core::Settings::exportSettings({group}, path, "user"),
                 settings::core::exception::SettingsFileNotWritten);
    EXPECT_EQ(bytes, bytesOf(file));
    using settings::core::exception::ErrorReadingSettingsData;
    EXPECT_THROW(settings::core::Settings::importAsStandaloneObject(path, "user"), ErrorReadingSettingsData);
    EXPECT_THROW(settings::core::Settings::getStartupSetting(path, "g", "s", "user"),
                 ErrorReadingSettingsData);
    installPlugin();
    security::addSecret(u"g.vksettings", "correct horse");
    EXPECT_EQ(1.0,
              settings::core::Settings::importAsStandaloneObject(path, "user")->get<double>("s", "user"));
    EXPECT_EQ(Array::scalar(1.0), settings::core::Settings::getStartupSetting(path, "g", "s", "user"));
}

TEST_F(EncryptedFiles, TheKeyManagerKeepsSecretsInMemory) {
    EXPECT_THROW(security::addSecret(u"a", "x"), ErrorLoadingLibrary);
    EXPECT_THROW(security::hasSessionKeyStored({}), ErrorLoadingLibrary);
    installPlugin();
    EXPECT_EQ("in memory", security::getSecretType());
    const std::string secret("\0bytes\xff", 7);
    security::addSecret(u"a", "first");
    security::addSecret(u"a", secret);
    security::addSecret(u"b", "");
    EXPECT_EQ(secret, security::getSecret(u"a"));
    EXPECT_EQ("", security::getSecret(u"b"));
    EXPECT_EQ("", security::getSecret(u"c"));
    EXPECT_TRUE(security::hasSessionKeyStored({u"a", u"b"}));
    EXPECT_FALSE(security::hasSessionKeyStored({u"a", u"c"}));
    EXPECT_TRUE(security::hasSessionKeyStored({}));
}

/// What others could have put there is not loaded, and what is no bundle does not get in the way.
TEST_F(EncryptedFiles, OnlySoundPluginsAreLoaded) {
    installPlugin();
    writeBytes(plugins / "a_broken.so", "no library");
    writeBytes(plugins / "a_broken.so.json", R"({"bundle.symbolic_name":"a","bundle.activator":true})");
    writeBytes(plugins / "b_validators.so", "a plug-in of another kind");
    const auto library = plugins / std::filesystem::path(KEY_MANAGER_PLUGIN).filename();
    std::filesystem::permissions(library, std::filesystem::perms(0777));
    EXPECT_THROW(security::getSecretType(), ErrorLoadingLibrary);
    EXPECT_EQ(1U, log.take("others than its owner can write " + library.string()).size());
    std::filesystem::permissions(library, std::filesystem::perms(0755));
    EXPECT_EQ("in memory", security::getSecretType());
}

/// What was read from an encrypted file is not written in plain because its folder is away.
TEST_F(EncryptedFiles, NothingSecretGoesIntoAnotherFolder) {
    installPlugin();
    security::addSecret(u"g.vksettings", "correct horse");
    const FileTree tree(folder.path());
    const Handle group = define(tree);
    TestTree::setting(group, "t", Array::scalar(0.0));
    ASSERT_TRUE(tree.status("g").isEncrypted);
    std::filesystem::rename(folder / "user", folder / "away");
    group->set("t", 2.0, "user");
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(SaveOutcome::encrypted, tree.status("g").saved);
}

TEST_F(EncryptedFiles, APlainFileInThePlaceOfAnEncryptedOneIsSaved) {
    installPlugin();
    security::addSecret(u"g.vksettings", "correct horse");
    const FileTree tree(folder.path());
    const Handle group = define(tree);
    ASSERT_TRUE(tree.status("g").isEncrypted);
    std::filesystem::remove(file);
    {
        const FileTree theirs(folder.path());
        define(theirs)->set("s", 5.0, "user");
    }
    group->set("s", 6.0, "user");
    EXPECT_EQ(SaveOutcome::saved, tree.status("g").saved);
    EXPECT_FALSE(tree.status("g").isMarked);
}

} // namespace
