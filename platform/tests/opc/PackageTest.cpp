#include "opc/model/Package.hpp"

#include "files/TemporaryFolder.hpp"
#include "opc/Limits.hpp"
#include "opc/PartName.hpp"
#include "opc/Samples.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/PathText.hpp"

#include <rapidcheck/gtest.h>
#include <sys/stat.h>

namespace {

using namespace opc_test;
using model::Access;
using testing_support::asOrdinaryUser;
using testing_support::contentOf;
using testing_support::putContent;
using testing_support::TemporaryFolder;

TEST(Package, SurvivesTheWayToBytesAndBack) {
    const Package package = samplePackage();
    const std::string bytes = package.toBytes();
    const Package again = Package::openBytes(bytes);
    EXPECT_TRUE(sameContent(package, again));
    EXPECT_EQ(contentsOf(package), contentsOf(again));
    EXPECT_EQ(3u, contentsOf(again).size());
    EXPECT_EQ(sampleProperties(), CorePropertiesManager(again).getCoreProperties());
    EXPECT_EQ("text/plain", FileSystemManager(again).getContentType(u"/schema.json"));
    EXPECT_EQ(bytes, again.toBytes());
}

TEST(Package, BytesDependOnTheContentOnly) {
    Package other = Package::create();
    FileSystemManager files(other);
    const Package sample = samplePackage();
    const auto contents = contentsOf(sample);
    for (auto part = contents.rbegin(); part != contents.rend(); ++part) // another order, and detours
        files.addFile(part->first, "something else", getTextContentType());
    files.addFile(u"/gone.bin", "x", "application/octet-stream");
    files.deleteFile(u"/gone.bin");
    for (const auto& [name, bytes] : contents)
        files.addFile(name, bytes, getTextContentType());
    CorePropertiesManager(other).setCoreProperties(sampleProperties(3));
    EXPECT_TRUE(sameContent(other, sample)); // apart from the revision
    EXPECT_NE(other.toBytes(), sample.toBytes());
    CorePropertiesManager(other).setCoreProperties(sampleProperties());
    EXPECT_EQ(other.toBytes(), sample.toBytes());
    ::setenv("TZ", "Pacific/Kiritimati", 1);
    ::tzset();
    EXPECT_EQ(other.toBytes(), sample.toBytes());
    ::unsetenv("TZ");
    ::tzset();

    files.addFile(u"/schema.json", "schema", "application/json");
    EXPECT_FALSE(sameContent(other, sample));
    files.deleteFile(u"/schema.json");
    EXPECT_FALSE(sameContent(other, sample));
    files.addFile(u"/schemb.json", "schema", getTextContentType());
    EXPECT_FALSE(sameContent(other, sample));
    files.deleteFile(u"/schemb.json");
    files.addFile(u"/schema.json", "schemb", getTextContentType());
    EXPECT_FALSE(sameContent(other, sample));
}

TEST(Package, IsATreeOfFilesAndFolders) {
    using qfservices::FileSystemEntry;
    const Package package = Package::openBytes(samplePackage().toBytes());
    const FileSystemManager files(package);
    EXPECT_EQ((std::vector{FileSystemEntry(u"/schema.json", false), FileSystemEntry(u"/settingstree", true)}),
              files.getChildren(u"/"));
    EXPECT_EQ((std::vector{FileSystemEntry(u"/settingstree/font", true),
                           FileSystemEntry(u"/settingstree/settings.json", false)}),
              files.getChildren(u"/settingstree"));
    EXPECT_EQ(u"font", files.getEntry(u"/settingstree/font").getName());
    EXPECT_TRUE(files.getChildren(u"/schema.json").empty());
    for (const char16_t* there : {u"/", u"/schema.json", u"/settingstree", u"/settingstree/font"})
        EXPECT_TRUE(files.hasEntry(there));
    for (const char16_t* not_there :
         {u"", u"schema.json", u"/Schema.json", u"/settings", u"/settingstree/", u"//", u"/_rels",
          u"/_rels/.rels", u"/docProps", u"/docProps/core.xml", u"/[Content_Types].xml", u"/schema.json/x"}) {
        EXPECT_FALSE(files.hasEntry(not_there)) << testing::PrintToString(std::u16string(not_there));
        EXPECT_EQ(ErrorKind::noSuchPart, failureOf([&] { files.getEntry(not_there); }));
        EXPECT_EQ(ErrorKind::noSuchPart, failureOf([&] { files.getChildren(not_there); }));
        EXPECT_EQ(ErrorKind::noSuchPart, failureOf([&] { files.getFileContentSource(not_there); }));
    }
    EXPECT_EQ(ErrorKind::noSuchPart, failureOf([&] { files.getFileContentSource(u"/settingstree"); }));
}

TEST(Package, DeletesFilesAndFolders) {
    Package package = samplePackage();
    FileSystemManager files(package);
    const auto kept = files.getFileContentSource(u"/schema.json");
    files.deleteFile(u"/schema.json");
    EXPECT_EQ("schema", *kept);
    EXPECT_EQ(ErrorKind::noSuchPart, failureOf([&] { files.deleteFile(u"/schema.json"); }));
    EXPECT_EQ(ErrorKind::noSuchPart, failureOf([&] { files.deleteFile(u"/settingstree"); }));
    EXPECT_EQ(0u, files.deleteFolder(u"/settings"));
    EXPECT_EQ(2u, files.deleteFolder(u"/settingstree"));
    EXPECT_TRUE(files.getChildren(u"/").empty());
    EXPECT_EQ(sampleProperties(),
              CorePropertiesManager(Package::openBytes(package.toBytes())).getCoreProperties());
}

TEST(Package, RefusesToHoldWhatCouldNotBeReadAgain) {
    Package package = samplePackage();
    FileSystemManager files(package);
    const std::string before = package.toBytes(), longName(limits::nameBytes, 'n');
    struct Case {
        std::u16string name;
        ErrorKind kind;
    };
    for (const Case& c :
         {Case{u"", ErrorKind::unsafeName},
          Case{u"/", ErrorKind::unsafeName},
          Case{u"relative.json", ErrorKind::unsafeName},
          Case{u"/a//b", ErrorKind::unsafeName},
          Case{u"/a/", ErrorKind::unsafeName},
          Case{u"/a/../b", ErrorKind::unsafeName},
          Case{u"/a./b", ErrorKind::unsafeName},
          Case{u"/a\\b", ErrorKind::unsafeName},
          Case{u"/C:/b", ErrorKind::unsafeName},
          Case{u"/a\nb", ErrorKind::unsafeName},
          Case{{u'/', 0xD800}, ErrorKind::unsafeName},
          Case{u"/%2E%2e/b", ErrorKind::unsafeName},
          Case{u"/a%2F..%5cb", ErrorKind::unsafeName},
          Case{u"/a%00", ErrorKind::unsafeName},
          Case{u"/[Content_Types].xml", ErrorKind::unsafeName},
          Case{u"/_rels/.rels", ErrorKind::unsafeName},
          Case{u"/a/_rels/b.rels", ErrorKind::unsafeName},
          Case{u"/docProps/core.xml", ErrorKind::unsafeName},
          Case{u"/docProps", ErrorKind::duplicatePart},
          Case{u"/_rels", ErrorKind::duplicatePart},
          Case{u"/settingstree", ErrorKind::duplicatePart},
          Case{u"/schema.json/below", ErrorKind::duplicatePart},
          Case{u"/docProps/core.xml/below", ErrorKind::duplicatePart},
          Case{u"/" + std::u16string(limits::nameBytes + 1, u'n'), ErrorKind::limitExceeded}}) {
        EXPECT_EQ(c.kind, failureOf([&] { files.addFile(c.name, "x", getTextContentType()); }))
            << testing::PrintToString(c.name);
    }
    for (const char* type : {"", "text", "/plain", "text/", "text/pl\nain", "text/pl\xC3\xA9"})
        EXPECT_EQ(ErrorKind::unsupported, failureOf([&] { files.addFile(u"/new", "x", type); })) << type;
    EXPECT_EQ(ErrorKind::limitExceeded, failureOf([&] {
                  files.addFile(u"/new", std::string(limits::partBytes + 1, ' '), getTextContentType());
              }));
    for (const char* text : {"\xFF", "a\x01", "\xEF\xBF\xBF"}) {
        CoreProperties properties;
        properties.title = text;
        EXPECT_EQ(ErrorKind::unsupported,
                  failureOf([&] { CorePropertiesManager(package).setCoreProperties(properties); }));
    }
    EXPECT_EQ(before, package.toBytes());
    try {
        files.addFile(u"/a/../b", "x", getTextContentType());
        FAIL();
    } catch (const WriteError& error) {
        EXPECT_EQ("Failed to write OPC Package: part \"/a/../b\": the name has a dot segment",
                  std::string(error.what()));
        EXPECT_THROW(error.rethrow(), WriteError);
    }
}

TEST(Package, TellsSafeNamesBeforehand) {
    for (const char16_t* safe : {u"/a", u"/settingstree/a%2Fb/settings.json", u"/a%2E/b", u"/100%/x",
                                 u"/_rels/x.json", u"/...a/b", u"/\u00E9\U0001F600", u"/%252e%252e/x"}) {
        EXPECT_TRUE(isSafePartName(safe)) << testing::PrintToString(std::u16string(safe));
        Package package = Package::create();
        FileSystemManager(package).addFile(safe, "x", getTextContentType());
        EXPECT_TRUE(FileSystemManager(Package::openBytes(package.toBytes())).hasEntry(safe));
    }
    EXPECT_FALSE(isSafePartName(u"/a/.."));
    EXPECT_TRUE(isSafePartName(u"/" + std::u16string(limits::nameBytes, u'n')));
    EXPECT_FALSE(isSafePartName(u"/" + std::u16string(limits::nameBytes + 1, u'n')));
}

TEST(Package, HoldsAsManyPartsAsAllowedAndNoMore) {
    Package package = Package::create();
    FileSystemManager files(package);
    CorePropertiesManager(package).setCoreProperties(sampleProperties());
    const auto add = [&](int i) {
        const std::string digits = std::to_string(i);
        files.addFile(u"/deep/folder" + std::u16string(digits.begin(), digits.end()) + u"/p.json", digits,
                      getTextContentType());
    };
    std::optional<ErrorKind> failure;
    int added = 0;
    while (!(failure = failureOf([&] { add(added); })))
        ++added;
    EXPECT_EQ(ErrorKind::limitExceeded, failure);
    EXPECT_EQ(static_cast<int>(limits::parts) - 3,
              added); // content types, relationships and core properties count too
    add(0);           // replacing one is not adding one
    EXPECT_EQ(static_cast<std::size_t>(added),
              FileSystemManager(Package::openBytes(package.toBytes())).getChildren(u"/deep").size());
}

TEST(Package, RefusesToWriteMoreThanAPackageMayUnpackTo) {
    TemporaryFolder folder;
    putContent(folder / "p", "old");
    Package package = Package::create(folder / "p");
    FileSystemManager files(package);
    for (const char16_t* name : {u"/1", u"/2", u"/3", u"/4"})
        files.addFile(name, std::string(limits::partBytes, ' '), getTextContentType());
    EXPECT_EQ(ErrorKind::limitExceeded, failureOf([&] { package.close(); }));
    EXPECT_TRUE(package.isOpen());
    EXPECT_EQ("old", contentOf(folder / "p"));
}

TEST(Package, UnknownPartsAreKept) {
    // Another program's package: properties elsewhere, relationships of parts, other types, no text of ours.
    Package foreign = samplePackage();
    FileSystemManager files(foreign);
    files.addFile(u"/other/data.bin", std::string("\0\1\2", 3), "application/x-other");
    files.addFile(u"/other/more.bin", "more", "application/x-more");
    files.addFile(u"/README", "no extension", "text/plain");
    Package package = Package::openBytes(foreign.toBytes());
    FileSystemManager(package).addFile(u"/version.json", "{}", getTextContentType());
    const Package again = Package::openBytes(package.toBytes());
    const FileSystemManager view(again);
    EXPECT_EQ(std::string("\0\1\2", 3), *view.getFileContentSource(u"/other/data.bin"));
    EXPECT_EQ("application/x-other", view.getContentType(u"/other/data.bin"));
    EXPECT_EQ("application/x-more", view.getContentType(u"/other/more.bin"));
    EXPECT_EQ("text/plain", view.getContentType(u"/README"));
    EXPECT_EQ(7u, contentsOf(again).size());
}

TEST(Package, CloseCommitsChangesAndOnlyThose) {
    TemporaryFolder folder;
    const auto path = folder / "editor.vksettings";
    {
        Package package = Package::create(path);
        CorePropertiesManager(package).setCoreProperties(sampleProperties());
        FileSystemManager(package).addFile(u"/schema.json", "schema", getTextContentType());
        EXPECT_FALSE(std::filesystem::exists(path));
        package.close();
        package.close();
        EXPECT_FALSE(package.isOpen());
        EXPECT_THROW(package.toBytes(), std::logic_error);
        EXPECT_THROW(FileSystemManager{package}, std::logic_error);
    }
    struct stat before, after;
    ASSERT_EQ(0, ::stat(path.c_str(), &before));
    EXPECT_EQ(0600u, before.st_mode & 07777);
    const auto edit = [&](Access access, std::uint64_t revision, const std::string& schema, bool close) {
        Package package = Package::open(path, access);
        EXPECT_EQ(path, package.path());
        FileSystemManager(package).addFile(u"/schema.json", schema, getTextContentType());
        CorePropertiesManager(package).setCoreProperties(sampleProperties(revision));
        if (close)
            package.close();
        ASSERT_EQ(0, ::stat(path.c_str(), &after));
    };
    edit(Access::readWrite, 8, "schema", true); // the revision alone is no reason to write
    EXPECT_EQ(before.st_ino, after.st_ino);
    edit(Access::readOnly, 8, "new", true);
    EXPECT_EQ(before.st_ino, after.st_ino);
    edit(Access::readWrite, 8, "new", false);
    EXPECT_EQ(before.st_ino, after.st_ino);
    edit(Access::readWrite, 8, "new", true);
    EXPECT_EQ(8u, CorePropertiesManager(Package::open(path)).getCoreProperties().revision);
    EXPECT_EQ("new", *FileSystemManager(Package::open(path)).getFileContentSource(u"/schema.json"));
    EXPECT_EQ(std::vector<std::string>{"editor.vksettings"}, folder.names());

    Package lost = Package::create(folder / "missing/x.vksettings");
    EXPECT_THROW(lost.close(), varnek::files::FileError);
    EXPECT_TRUE(lost.isOpen());
}

TEST(Package, TellsWhyAFileCannotBeRead) {
    TemporaryFolder folder;
    const auto path = folder / "a.vksettings";
    putContent(path, "not a package, but long enough to be one");
    std::filesystem::create_directory(folder / "folder");
    EXPECT_EQ(ErrorKind::damaged, failureOf([&] { Package::open(path); }));
    EXPECT_EQ(ErrorKind::notFound, failureOf([&] { Package::open(folder / "none"); }));
    EXPECT_EQ(ErrorKind::notRegularFile, failureOf([&] { Package::open(folder / "folder"); }));
    try {
        Package::open(folder / "none");
        FAIL();
    } catch (const OpenError& error) {
        EXPECT_EQ("Failed to open OPC Package \"" + (folder / "none").native() + "\": cannot read file \"" +
                      (folder / "none").native() + "\": No such file or directory",
                  std::string(error.what()));
        EXPECT_FALSE(error.isPassing());
        EXPECT_EQ(folder / "none", error.path());
    }
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0755));
    ASSERT_EQ(0, ::chmod(path.c_str(), 0));
    EXPECT_EQ(1, asOrdinaryUser([&] {
                  try {
                      Package::open(path);
                      return 100;
                  } catch (const OpenError& error) {
                      return error.isPassing() ? static_cast<int>(error.kind()) : 200;
                  }
              }));
}

using Text = std::string;

rc::Gen<Text> texts() {
    return rc::gen::map(
        rc::gen::container<std::u32string>(rc::gen::weightedOneOf<char32_t>(
            {{4, rc::gen::inRange<char32_t>(0x20, 0x7F)},
             {1, rc::gen::elementOf(std::vector<char32_t>{'\t', '\n', '\r', ' ', '<', '&', '"', ']'})},
             {1, rc::gen::inRange<char32_t>(0xA0, 0xD7FF)},
             {1, rc::gen::inRange<char32_t>(0x10000, 0x10FFFF)}})),
        [](const std::u32string& text) {
            std::u16string wide;
            for (const char32_t c : text) {
                if (c >= 0x10000)
                    wide += static_cast<char16_t>(0xD7C0 + (c >> 10));
                wide += static_cast<char16_t>(c >= 0x10000 ? 0xDC00 + (c & 0x3FF) : c);
            }
            return *varnek::files::utf8FromUtf16(wide);
        });
}

RC_GTEST_PROP(Package, AnyPropertiesAndPartsSurvive, ()) {
    Package package = Package::create();
    FileSystemManager files(package);
    std::map<std::u16string, std::string> expected;
    const int parts = *rc::gen::inRange(0, 12);
    for (int i = 0; i < parts; ++i) {
        std::u16string name;
        const int depth = *rc::gen::inRange(1, 4);
        for (int level = 0; level < depth; ++level) {
            const Text segment =
                *rc::gen::nonEmpty(rc::gen::container<Text>(rc::gen::elementOf(Text("abAB-_.%"))));
            name += u"/" + std::u16string(segment.begin(), segment.end());
        }
        Text bytes = *rc::gen::arbitrary<Text>();
        if (*rc::gen::inRange(0, 4) == 0)
            bytes.resize(bytes.size() + 3000, 'x');
        const Text type = *rc::gen::elementOf(std::vector<Text>{"text/plain", "application/x", "image/png"});
        if (!failureOf([&] { files.addFile(name, bytes, type); }))
            expected[name] = bytes;
    }
    CoreProperties properties;
    for (auto field : {&CoreProperties::title, &CoreProperties::contentType, &CoreProperties::version,
                       &CoreProperties::description, &CoreProperties::keywords, &CoreProperties::created})
        properties.*field = *texts();
    properties.revision = *rc::gen::arbitrary<std::uint64_t>();
    CorePropertiesManager(package).setCoreProperties(properties);

    const std::string bytes = package.toBytes();
    const Package again = Package::openBytes(bytes);
    RC_ASSERT(expected == contentsOf(again));
    RC_ASSERT(properties == CorePropertiesManager(again).getCoreProperties());
    RC_ASSERT(sameContent(package, again));
    RC_ASSERT(bytes == again.toBytes());
}

} // namespace
