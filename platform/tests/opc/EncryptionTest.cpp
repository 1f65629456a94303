#include "opc/qfpackaging/Encryption.hpp"

#include "files/TemporaryFolder.hpp"
#include "opc/Samples.hpp"

namespace {

using namespace opc_test;
using qfpackaging::enableDecryptionFromPassword;
using qfpackaging::enableEncryptionFromPassword;
using testing_support::contentOf;
using testing_support::putContent;
using testing_support::TemporaryFolder;

const std::string password = "p\xC3\xA4ssword with blanks";

std::string encryptedBytes() {
    Package package = samplePackage();
    FileSystemManager(package).addFile(u"/empty.json", "", getTextContentType());
    enableEncryptionFromPassword(package, {password});
    return package.toBytes();
}

TEST(Encryption, TheRightPasswordOpensThePackage) {
    const std::string bytes = encryptedBytes();
    EXPECT_NE(bytes, encryptedBytes()); // never the same key stream twice
    EXPECT_EQ(std::string::npos, bytes.find("groupName"));
    Package package = Package::openBytes(bytes);
    const FileSystemManager files(package);
    EXPECT_TRUE(files.isEncrypted());
    enableDecryptionFromPassword(package, {password});
    enableDecryptionFromPassword(package, {password}); // again: nothing left to do
    EXPECT_TRUE(files.isEncrypted());
    auto expected = contentsOf(samplePackage());
    expected[u"/empty.json"] = "";
    EXPECT_EQ(expected, contentsOf(package));
}

TEST(Encryption, WithoutThePasswordOnlyTheOutsideIsSeen) {
    Package package = Package::openBytes(encryptedBytes());
    const auto expectSealed = [&] {
        FileSystemManager files(package);
        EXPECT_TRUE(files.hasEntry(u"/settingstree/settings.json"));
        EXPECT_EQ(sampleProperties(), CorePropertiesManager(package).getCoreProperties());
        EXPECT_EQ(ErrorKind::noPassword, failureOf([&] { files.getFileContentSource(u"/schema.json"); }));
        EXPECT_EQ(ErrorKind::noPassword, failureOf([&] { files.getFileContentSource(u"/empty.json"); }));
        EXPECT_EQ(ErrorKind::noPassword,
                  failureOf([&] { files.addFile(u"/new.json", "", getTextContentType()); }));
        EXPECT_EQ(ErrorKind::noPassword, failureOf([&] { files.deleteFile(u"/schema.json"); }));
        EXPECT_EQ(ErrorKind::noPassword, failureOf([&] { files.deleteFolder(u"/settingstree"); }));
        EXPECT_EQ(ErrorKind::noPassword,
                  failureOf([&] { CorePropertiesManager(package).setCoreProperties(sampleProperties(9)); }));
        EXPECT_EQ(ErrorKind::noPassword, failureOf([&] { package.toBytes(); }));
        EXPECT_EQ(ErrorKind::noPassword,
                  failureOf([&] { enableEncryptionFromPassword(package, {"other"}); }));
        EXPECT_EQ(ErrorKind::noPassword, failureOf([&] { sameContent(package, package); }));
    };
    expectSealed();
    EXPECT_EQ(ErrorKind::noPassword, failureOf([&] { enableDecryptionFromPassword(package, {""}); }));
    EXPECT_EQ(ErrorKind::wrongPassword, failureOf([&] { enableDecryptionFromPassword(package, {"wrong"}); }));
    EXPECT_THROW(enableDecryptionFromPassword(package, {std::string("a\0b", 3)}), std::invalid_argument);
    expectSealed();
    enableDecryptionFromPassword(package, {password});
    EXPECT_EQ(4u, contentsOf(package).size());
}

TEST(Encryption, SecretsDoNotTurnPlainByAccident) {
    Package package = Package::openBytes(encryptedBytes());
    enableDecryptionFromPassword(package, {password});
    EXPECT_EQ(ErrorKind::noPassword, failureOf([&] { package.toBytes(); }));
    EXPECT_THROW(enableEncryptionFromPassword(package, {""}), std::invalid_argument);
    EXPECT_THROW(enableEncryptionFromPassword(package, {std::string("a\0b", 3)}), std::invalid_argument);
    enableEncryptionFromPassword(package, {"another"});
    Package again = Package::openBytes(package.toBytes());
    EXPECT_EQ(ErrorKind::wrongPassword, failureOf([&] { enableDecryptionFromPassword(again, {password}); }));
    enableDecryptionFromPassword(again, {"another"});
    EXPECT_TRUE(sameContent(package, again));
}

TEST(Encryption, FilesStayUntouchedUnlessAPasswordForWritingIsGiven) {
    TemporaryFolder folder;
    const auto path = folder / "secret.vksettings";
    const std::string bytes = encryptedBytes();
    putContent(path, bytes);
    Package sealed = Package::open(path, model::Access::readWrite);
    sealed.close();
    EXPECT_EQ(bytes, contentOf(path));

    Package changed = Package::open(path, model::Access::readWrite);
    enableDecryptionFromPassword(changed, {password});
    FileSystemManager(changed).addFile(u"/schema.json", "new", getTextContentType());
    EXPECT_EQ(ErrorKind::noPassword, failureOf([&] { changed.close(); }));
    EXPECT_EQ(bytes, contentOf(path));
    enableEncryptionFromPassword(changed, {password});
    changed.close();
    Package again = Package::open(path);
    enableDecryptionFromPassword(again, {password});
    EXPECT_EQ("new", *FileSystemManager(again).getFileContentSource(u"/schema.json"));

    // A plain package turns encrypted although nothing else changes.
    samplePackage().toBytes();
    putContent(path, samplePackage().toBytes());
    Package plain = Package::open(path, model::Access::readWrite);
    enableEncryptionFromPassword(plain, {password});
    plain.close();
    EXPECT_TRUE(FileSystemManager(Package::open(path)).isEncrypted());
}

} // namespace
