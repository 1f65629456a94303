#include "varnek/files/FileAccess.hpp"

#include "files/TemporaryFolder.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/files/PathText.hpp"

#include <rapidcheck/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace {

using namespace varnek::files;
using testing_support::asOrdinaryUser;
using testing_support::contentOf;
using testing_support::putContent;
using testing_support::TemporaryFolder;
using Names = std::vector<std::string>;
namespace fs = std::filesystem;

template <class Work>
std::optional<FileErrorKind> failureOf(Work work) {
    try {
        work();
    } catch (const FileError& error) {
        return error.kind();
    }
    return std::nullopt;
}

void makeSocket(const fs::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.native().copy(address.sun_path, sizeof address.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(0, ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ::close(socket);
}

TEST(FileAccess, ReadsWholeFilesUpToTheLimit) {
    TemporaryFolder folder;
    for (const std::size_t size : {0u, 1u, 4096u, 100'000u}) {
        const std::string content(size, '\xFE');
        putContent(folder / "f", content);
        EXPECT_EQ(content, readFile(folder / "f", size));
    }
    EXPECT_EQ(FileErrorKind::tooLarge, failureOf([&] { readFile(folder / "f", 99'999); }));
    // Files of the system announce no size.
    EXPECT_NE(std::string::npos, readFile("/proc/self/status", 1 << 20).find("Name:"));
    EXPECT_EQ(FileErrorKind::tooLarge, failureOf([] { readFile("/proc/self/status", 10); }));
}

TEST(FileAccess, TellsTheReasonsApart) {
    TemporaryFolder folder;
    putContent(folder / "file", "x");
    fs::create_directory(folder / "folder");
    ASSERT_EQ(0, ::mkfifo((folder / "pipe").c_str(), 0600)); // would block for ever if it were opened to wait
    makeSocket(folder / "socket");
    fs::create_symlink("nowhere", folder / "dangling");
    struct Case {
        fs::path path;
        FileErrorKind kind;
    };
    for (const Case& c : {Case{folder / "missing", FileErrorKind::notFound},
                          Case{folder / "file/below", FileErrorKind::notFound},
                          Case{folder / "folder", FileErrorKind::notRegularFile},
                          Case{folder / "pipe", FileErrorKind::notRegularFile},
                          Case{folder / "socket", FileErrorKind::notRegularFile},
                          Case{"/dev/zero", FileErrorKind::notRegularFile},
                          Case{folder / "dangling", FileErrorKind::notFound},
                          Case{folder / std::string_view("a\0b", 3), FileErrorKind::invalidName},
                          Case{folder / std::string(300, 'x'), FileErrorKind::openFailed}})
        EXPECT_EQ(c.kind, failureOf([&] { readFile(c.path, 100); })) << c.path;

    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0755));
    ASSERT_EQ(0, ::chmod((folder / "file").c_str(), 0));
    EXPECT_EQ(static_cast<int>(FileErrorKind::permission), asOrdinaryUser([&] {
                  return static_cast<int>(
                      failureOf([&] { readFile(folder / "file", 100); }).value_or(FileErrorKind::readFailed));
              }));
}

TEST(FileAccess, RemovesFilesAndCopiesThem) {
    TemporaryFolder folder;
    putContent(folder / "a", "content");
    fs::create_symlink("a", folder / "link");
    fs::create_directory(folder / "folder");
    copyFile(folder / "a", folder / "b", 7);
    EXPECT_EQ("content", contentOf(folder / "b"));
    EXPECT_EQ(FileErrorKind::tooLarge, failureOf([&] { copyFile(folder / "a", folder / "c", 6); }));
    EXPECT_EQ(FileErrorKind::notFound, failureOf([&] { copyFile(folder / "none", folder / "b", 100); }));
    EXPECT_EQ("content", contentOf(folder / "b"));

    EXPECT_TRUE(removeFile(folder / "link"));
    EXPECT_TRUE(removeFile(folder / "b", FolderFlush::later));
    EXPECT_FALSE(removeFile(folder / "b"));
    EXPECT_FALSE(removeFile(folder / "a/below"));
    EXPECT_EQ(FileErrorKind::notRegularFile, failureOf([&] { removeFile(folder / "folder"); }));
    EXPECT_EQ((Names{"a", "folder"}), folder.names());
}

TEST(Folder, ListsRegularFilesByExtension) {
    TemporaryFolder folder;
    for (const char* name :
         {"b.vksettings", "a.vksettings", "Z.vksettings", "c.settings", "d.vksettings.damaged"})
        putContent(folder / name, "");
    fs::create_directory(folder / "e.vksettings");
    fs::create_symlink("a.vksettings", folder / "f.vksettings");
    Names names;
    for (const fs::path& path : listFiles(folder.path(), ".vksettings"))
        names.push_back(path.filename());
    EXPECT_EQ((Names{"Z.vksettings", "a.vksettings", "b.vksettings"}), names);
    EXPECT_EQ(5u, listFiles(folder.path(), "").size());
    EXPECT_EQ(FileErrorKind::notFound, failureOf([&] { listFiles(folder / "none", ""); }));
    EXPECT_EQ(FileErrorKind::notFolder, failureOf([&] { listFiles(folder / "c.settings", ""); }));
}

TEST(Folder, CreatesFoldersForTheOwnerOnly) {
    TemporaryFolder folder;
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0777));
    EXPECT_EQ(0, asOrdinaryUser([&] {
                  ::umask(0777);
                  return failureOf([&] { createFolders(folder / "a/b/c"); }).has_value();
              }));
    for (const char* name : {"a", "a/b", "a/b/c"})
        EXPECT_EQ(fs::perms(0700), fs::status(folder / name).permissions()) << name;
    createFolders(folder / "a/b/c/"); // again, and with a separator at the end
    EXPECT_EQ(fs::perms(0777), fs::status(folder.path()).permissions());

    putContent(folder / "file", "");
    EXPECT_EQ(FileErrorKind::notFolder, failureOf([&] { createFolders(folder / "file"); }));
    EXPECT_EQ(FileErrorKind::notFolder, failureOf([&] { createFolders(folder / "file/below"); }));
    EXPECT_EQ(FileErrorKind::notFound,
              failureOf([] { createFolders("/proc/new/below"); })); // for ever refused
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0555));
    EXPECT_EQ(static_cast<int>(FileErrorKind::permission), asOrdinaryUser([&] {
                  return static_cast<int>(
                      failureOf([&] { createFolders(folder / "new"); }).value_or(FileErrorKind::readFailed));
              }));
}

TEST(Folder, ProbeLeavesNothingAndTouchesNothing) {
    TemporaryFolder folder;
    EXPECT_TRUE(probeWritable(folder.path(), "tmp.txt"));
    EXPECT_TRUE(folder.names().empty());
    putContent(folder / "tmp.txt", ""); // what a crash leaves
    EXPECT_TRUE(probeWritable(folder.path(), "tmp.txt"));
    EXPECT_TRUE(folder.names().empty());
    putContent(folder / "tmp.txt", "the user's own notes");
    EXPECT_TRUE(probeWritable(folder.path(), "tmp.txt"));
    EXPECT_EQ("the user's own notes", contentOf(folder / "tmp.txt"));
    EXPECT_FALSE(probeWritable(folder / "none", "tmp.txt"));
    EXPECT_FALSE(probeWritable(folder / "tmp.txt", "tmp.txt"));
    EXPECT_FALSE(probeWritable(folder.path(), "../tmp.txt"));
}

TEST(PathText, KnownTexts) {
    EXPECT_EQ(fs::path("/a/\xC3\xA9\xF0\x9F\x98\x80"), pathFromUtf16(u"/a/\u00E9\U0001F600"));
    EXPECT_EQ(u"\u00E9\U0001F600", utf16FromPath("\xC3\xA9\xF0\x9F\x98\x80"));
    EXPECT_EQ(std::u16string({u'a', 0xDCFF}), utf16FromPath("a\xFF"));
    for (const std::u16string& text : {std::u16string(u"a\0b", 3), std::u16string{u'a', 0xD800}})
        EXPECT_EQ(FileErrorKind::invalidName, failureOf([&] { pathFromUtf16(text); }));
    for (const char* malformed :
         {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80", "\xF8\x88\x80\x80\x80"})
        EXPECT_FALSE(utf16FromUtf8(malformed)) << malformed;
    EXPECT_FALSE(utf8FromUtf16(std::u16string{0xDC80}));
}

TEST(PathText, MessagesKeepWhatIsNoTextAndNeverFail) {
    EXPECT_EQ(std::u16string({u'/', 0xDCE9, u'b', u'a', u'd'}), messageUtf16("/\xE9"
                                                                             "bad"));
    EXPECT_EQ("/\xE9"
              "bad",
              messageUtf8(messageUtf16("/\xE9"
                                       "bad")));
    EXPECT_EQ("a\uFFFD\U0001F600\uFFFD"
              "b",
              messageUtf8(std::u16string{u'a', 0xD800, 0xD83D, 0xDE00, 0xDC00, u'b'}));
}

// A file name can hold any byte, a terminal obeys some of them.
TEST(PathText, ControlCharactersAreShownInErrors) {
    const std::pair<const char*, const char*> table[] = {
        {"plain name \xC3\xA9\xF0\x9F\x98\x80\xE9", "plain name \xC3\xA9\xF0\x9F\x98\x80\xE9"},
        {"\x1B[2J\n\x7F\"", "\\x1B[2J\\x0A\\x7F\\x22"},
        {"\xC2\x9B"
         "1m\x9B",
         "\\xC2\\x9B"
         "1m\\x9B"},
    };
    for (const auto& [name, shown] : table)
        EXPECT_EQ(shown, shownName(name));
    const FileError failure(FileErrorKind::readFailed, "read file", "/a\x1B[2J\nb", EIO);
    EXPECT_STREQ("cannot read file \"/a\\x1B[2J\\x0Ab\": Input/output error", failure.what());
    EXPECT_EQ("/a\x1B[2J\nb", failure.path());
}

RC_GTEST_PROP(PathText, EveryPathSurvivesTheWayToUtf16AndBack, (std::string bytes)) {
    std::erase(bytes, '\0');
    RC_ASSERT(fs::path(bytes).native() == pathFromUtf16(utf16FromPath(bytes)).native());
    RC_ASSERT(bytes == messageUtf8(messageUtf16(bytes)));
    if (const auto text = utf16FromUtf8(bytes))
        RC_ASSERT(utf8FromUtf16(*text) == std::optional(bytes));
}

} // namespace
