// Packages that lie. Each is a good one with one thing changed, and must be refused for that thing.
#include "opc/Forge.hpp"
#include "opc/Limits.hpp"
#include "opc/Samples.hpp"

#include <gtest/gtest.h>

namespace {

using namespace opc_test;
using Entries = std::vector<ForgedEntry>;
using E = ErrorKind;

const std::string types =
    R"(<?xml version="1.0" encoding="UTF-8"?><Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"><Default Extension="json" ContentType="text/plain"/><Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/></Types>)";
constexpr auto typesName = "[Content_Types].xml";
constexpr std::uint16_t descriptorFlag = 8, utf8Flag = 1 << 11;

Entries good() {
    return {stored(typesName, types), stored("a.json", "{}"), stored("f/b.json", "[1]")};
}

/// The good package with another name for its second part.
std::string named(const std::string& name, std::uint16_t flags = 0) {
    Entries entries = good();
    entries[1].both([&](Header& header) { header.name = name, header.flags = flags; });
    return forge(entries);
}

/// The good package after a change of its second part.
std::string with(const std::function<void(ForgedEntry&)>& change) {
    Entries entries = good();
    change(entries[1]);
    return forge(entries);
}
std::string withBoth(const std::function<void(Header&)>& change) {
    return with([&](ForgedEntry& entry) { entry.both(change); });
}
std::string withLocal(const std::function<void(Header&)>& change) {
    return with([&](ForgedEntry& entry) { change(entry.local); });
}

/// The good package with one more part.
std::string plus(ForgedEntry entry) {
    Entries entries = good();
    entries.push_back(std::move(entry));
    return forge(entries);
}

/// The good package with other content types, or with relationships and core properties.
std::string withTypes(const std::string& xml) {
    return forge({stored(typesName, xml), stored("a.json", "{}")});
}
std::string withRelationships(const std::string& xml) {
    return plus(stored("_rels/.rels", xml));
}
std::string relationship(const std::string& attributes) {
    return R"(<Relationship Id="r1" Type="http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties" )" +
           attributes + "/>";
}
std::string relationships(const std::string& inner) {
    return R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)" + inner +
           "</Relationships>";
}
std::string withCore(const std::string& xml) {
    Entries entries = good();
    entries.push_back(stored("_rels/.rels", relationships(relationship(R"(Target="docProps/core.xml")"))));
    entries.push_back(stored("docProps/core.xml", xml));
    return forge(entries);
}
std::string core(const std::string& inner) {
    return R"(<cp:coreProperties xmlns:cp="http://schemas.openxmlformats.org/package/2006/metadata/core-properties">)" +
           inner + "</cp:coreProperties>";
}

/// A deflated part from a real package, placed into the good one.
ForgedEntry deflated() {
    Package package = Package::create();
    FileSystemManager(package).addFile(u"/zeros.json", std::string(1 << 20, '0'), getTextContentType());
    return takeApart(package.toBytes()).back();
}

std::string withDescriptor(const std::string& descriptor) {
    return with([&](ForgedEntry& entry) {
        entry.both([](Header& header) { header.flags |= descriptorFlag; });
        entry.local.crc = entry.local.packed = entry.local.size = 0;
        entry.descriptor = descriptor;
    });
}
std::string honestDescriptor() {
    return "PK\7\10" + le32(crcOf("{}")) + le32(2) + le32(2);
}

Entries encrypted() {
    Package package = samplePackage();
    qfpackaging::enableEncryptionFromPassword(package, {"password"});
    return takeApart(package.toBytes());
}

/// The same text with a document type in front, whose entities would grow when expanded.
std::string bomb(std::string xml) {
    if (xml.starts_with("<?xml"))
        xml.erase(0, xml.find("?>") + 2);
    return R"(<?xml version="1.0"?><!DOCTYPE x [<!ENTITY a "aaaaaaaaaa"><!ENTITY b "&a;&a;&a;&a;">]>)" + xml;
}

struct Case {
    const char* what;
    E kind;
    std::string bytes;
};

/// A package with a second directory and end record, good in themselves, within a stored part; the comment of
/// that end record is the rest of the file.
std::string twoDirectories() {
    const Entries inner{good()[0], stored("evil.json", "")};
    const std::string name = "data.bin";
    const std::size_t dataOffset = forge(good()).find("PK\1\2") + 30 + name.size();
    for (std::size_t commentSize = 0; commentSize < 2000; ++commentSize) {
        const std::string comment(commentSize, ' ');
        std::string end =
            forge(inner, {.directoryOffset = static_cast<std::int64_t>(dataOffset), .comment = comment});
        end = end.substr(end.find("PK\1\2"));
        Entries outer = good();
        outer.push_back(stored(name, end.substr(0, end.size() - commentSize)));
        const std::string bytes = forge(outer);
        if (bytes.size() == bytes.find("PK\5\6") + 22 + commentSize)
            return bytes;
    }
    throw std::logic_error("no such comment");
}

std::vector<Case> structureCases() {
    const std::string whole = forge(good());
    Entries overlap = good(), sameHeader = good(), gap = good();
    overlap[1].data += "xx"; // claims two bytes only: two are left over in front of the next part
    sameHeader[2].offset = 0;
    sameHeader[2].central = sameHeader[0].central;
    sameHeader[2].central.name = "again.json";
    gap[2].gap = std::string(4, '\0');
    Entries quoted = good(); // the third part lies within the second one's data
    quoted[1] = stored("a.json", forge({quoted[2]}).substr(0, 30 + 8 + 3));
    quoted[2].offset = static_cast<std::int64_t>(30 + std::string(typesName).size() + types.size() + 30 + 6);
    const std::string first = forge(good());
    // The comment of the first end record swallows a whole second archive.
    std::string commented =
        forge(good(), {.comment = forge({stored(typesName, types), stored("evil.json", "{}")})});
    Entries manyEntries = good();
    for (std::size_t i = 0; i < limits::parts; ++i)
        manyEntries.push_back(stored("m/" + std::to_string(i), ""));
    return {
        {"nothing", E::damaged, ""},
        {"text", E::damaged, std::string(100, 't')},
        {"an archive of nothing", E::damaged, forge({})},
        {"bytes in front", E::damaged, "#!" + whole},
        {"a program in front, offsets adjusted", E::damaged,
         [&] {
             Entries e = good();
             e[0].gap = std::string(64, 'x');
             return forge(e);
         }()},
        {"a byte behind", E::damaged, whole + "\n"},
        {"two archives", E::damaged, first + whole},
        {"a comment", E::damaged, forge(good(), {.comment = "hello"})},
        {"a package in the comment", E::damaged, commented},

        {"another disk", E::damaged, forge(good(), {.disk = 1})},
        {"fewer entries than there are", E::damaged, forge(good(), {.entriesHere = 2, .entries = 2})},
        {"more entries than there are", E::damaged, forge(good(), {.entriesHere = 4, .entries = 4})},
        {"two counts of entries", E::damaged, forge(good(), {.entriesHere = 2})},
        {"directory shorter than said", E::damaged, forge(good(), {.directorySize = 10})},
        {"directory beyond the end", E::damaged, forge(good(), {.directoryOffset = 1'000'000})},
        {"directory at the largest offset", E::damaged, forge(good(), {.directoryOffset = 0xFFFFFFFF})},
        {"directory within the parts", E::damaged, forge(good(), {.directoryOffset = 1})},
        {"a gap between parts", E::damaged, forge(gap)},
        {"bytes left over behind a part", E::damaged, forge(overlap)},
        {"two directory entries for one part", E::damaged, forge(sameHeader)},
        {"a part within another", E::damaged, forge(quoted)},
        {"a header beyond the end", E::damaged, with([](ForgedEntry& e) { e.offset = 0xFFFFFFF0; })},
        {"too many entries", E::limitExceeded, forge(manyEntries)},
    };
}

std::vector<Case> nameCases() {
    ForgedEntry link = stored("link.json", "../../etc/passwd"), device = stored("null.json", "");
    link.attributes = 0120777u << 16;
    device.attributes = 0020666u << 16;
    ForgedEntry folder = stored("folder/", "data"), empty = stored("a.json/", "");
    empty.attributes = 0040755u << 16;
    folder.attributes = 0040755u << 16;
    return {
        {"parent folder", E::unsafeName, named("../x")},
        {"parent folder in the middle", E::unsafeName, named("a/../../x")},
        {"parent folder at the end", E::unsafeName, named("a/..")},
        {"own folder", E::unsafeName, named("a/./x")},
        {"absolute", E::unsafeName, named("/etc/passwd")},
        {"drive", E::unsafeName, named("C:/x")},
        {"drive without separator", E::unsafeName, named("C:x")},
        {"backslashes", E::unsafeName, named("a\\..\\x")},
        {"network share", E::unsafeName, named("\\\\host\\x")},
        {"empty segment", E::unsafeName, named("a//x")},
        {"no name", E::unsafeName, named("")},
        {"only a separator", E::unsafeName, named("/")},
        {"NUL", E::unsafeName, named(std::string("a.json\0.exe", 11))},
        {"control character", E::unsafeName, named("a\x1B[2J")},
        {"dot at the end of a segment", E::unsafeName, named("a./x")},
        {"encoded dots", E::unsafeName, named("%2e%2E/x")},
        {"one encoded dot", E::unsafeName, named(".%2e/x")},
        {"encoded separator", E::unsafeName, named("..%2Fx")},
        {"encoded backslash", E::unsafeName, named("a%5c..%5Cx")},
        {"encoded absolute", E::unsafeName, named("%2Fetc")},
        {"encoded NUL", E::unsafeName, named("a%00b")},
        {"no UTF-8", E::unsafeName, named("a\xFF", utf8Flag)},
        {"overlong dot", E::unsafeName, named("\xC0\xAE\xC0\xAE/x", utf8Flag)},
        {"surrogate", E::unsafeName, named("\xED\xA0\x80", utf8Flag)},
        {"UTF-8 that is not marked so", E::unsafeName, named("\xC3\xA9")},
        {"old code page", E::unsafeName,
         named("\x81"
               "ber")},
        {"one byte too long", E::limitExceeded, named(std::string(limits::nameBytes + 1, 'n'))},
        {"as long as can be", E::limitExceeded, named(std::string(65'535, 'n'))},
        {"symbolic link", E::unsupported, plus(link)},
        {"device", E::unsupported, plus(device)},
        {"folder with data", E::damaged, plus(folder)},
        {"twice", E::duplicatePart, plus(stored("a.json", "{}"))},
        {"twice, other content", E::duplicatePart, plus(stored("a.json", "[]"))},
        {"twice the content types", E::duplicatePart, plus(stored(typesName, types))},
        {"file as a folder", E::duplicatePart, plus(stored("a.json/x", "{}"))},
        {"folder as a file", E::duplicatePart, plus(stored("f", "{}"))},
        {"file and folder entry", E::duplicatePart, plus(empty)},
        {"second name in an extra field", E::unsupported,
         withBoth([](Header& h) { h.extra = extraField(0x7075, "\1" + le32(crcOf(h.name)) + "../x"); })},
    };
}

std::vector<Case> headerCases() {
    const auto method = [](std::uint16_t number) {
        return withBoth([&](Header& header) { header.method = number; });
    };
    const auto flags = [](std::uint16_t bits) {
        return withBoth([&](Header& header) { header.flags = bits; });
    };
    const auto zeros = [](const std::function<void(Header&)>& change) {
        ForgedEntry entry = deflated();
        return plus(entry.both(change));
    };
    Entries manyLarge = good();
    for (char name = '1'; name <= '5'; ++name) {
        ForgedEntry entry = stored(std::string(1, name), std::string(65'000, 'x'));
        manyLarge.push_back(entry.both([](Header& h) { h.method = 8, h.size = 60u << 20; }));
    }
    return {
        {"other name in the header", E::damaged, withLocal([](Header& h) { h.name = "b.json"; })},
        {"other size in the header", E::damaged, withLocal([](Header& h) { h.size = 3; })},
        {"other packed size in the header", E::damaged, withLocal([](Header& h) { h.packed = 3; })},
        {"other method in the header", E::damaged, withLocal([](Header& h) { h.method = 8; })},
        {"other flags in the header", E::damaged, withLocal([](Header& h) { h.flags = 2; })},
        {"other check sum in the header", E::damaged, withLocal([](Header& h) { ++h.crc; })},
        {"no header", E::damaged, with([](ForgedEntry& e) { e.offset = 3; })},
        {"wrong check sum", E::damaged, withBoth([](Header& h) { ++h.crc; })},
        {"wrong check sum of a deflated part", E::damaged, zeros([](Header& h) { ++h.crc; })},
        {"other data", E::damaged, with([](ForgedEntry& e) { e.data = "[]"; })},
        {"numbers in the header left out without a descriptor", E::damaged,
         withLocal([](Header& h) { h.crc = h.packed = h.size = 0; })},
        {"no descriptor", E::damaged, withDescriptor("")},
        {"descriptor cut off", E::damaged, withDescriptor(honestDescriptor().substr(0, 11))},
        {"descriptor lies about the check sum", E::damaged,
         withDescriptor("PK\7\10" + le32(1) + le32(2) + le32(2))},
        {"descriptor lies about the size", E::damaged,
         withDescriptor("PK\7\10" + le32(crcOf("{}")) + le32(2) + le32(9))},
        {"descriptor without its signature", E::damaged,
         withDescriptor("xxxx" + honestDescriptor().substr(4))},
        {"stored with two sizes", E::damaged, withBoth([](Header& h) { h.size = 3; })},
        {"more data than said", E::damaged, zeros([](Header& h) { h.size = 1000; })},
        {"less data than said", E::damaged, zeros([](Header& h) { h.size += 1; })},
        {"more than the method can pack", E::damaged, zeros([](Header& h) { h.size = 3u << 20; })},
        {"data cut off", E::damaged,
         [] {
             ForgedEntry e = deflated();
             e.data.resize(e.data.size() / 2);
             return plus(e.both([&](Header& h) { h.packed = static_cast<std::uint32_t>(e.data.size()); }));
         }()},
        {"bytes behind the end of the packed data", E::damaged,
         [] {
             ForgedEntry e = deflated();
             e.data += "more";
             return plus(e.both([&](Header& h) { h.packed = static_cast<std::uint32_t>(e.data.size()); }));
         }()},
        {"part too large", E::limitExceeded, zeros([](Header& h) { h.size = (64u << 20) + 1; })},
        {"parts too large together", E::limitExceeded, forge(manyLarge)},
        {"extended sizes", E::unsupported,
         withBoth([](Header& h) { h.extra = extraField(1, std::string(16, '\0')); })},
        {"extra field cut off", E::damaged, withBoth([](Header& h) { h.extra = le16(0x5455) + le16(40); })},
        {"extra field of one byte", E::damaged, withBoth([](Header& h) { h.extra = "x"; })},
        {"bzip2", E::unsupported, method(12)},
        {"deflate64", E::unsupported, method(9)},
        {"lzma", E::unsupported, method(14)},
        {"zstandard", E::unsupported, method(93)},
        {"unknown method", E::unsupported, method(4711)},
        {"old encryption", E::unsupported, flags(1)},
        {"strong encryption", E::unsupported, flags(1 | 1 << 6)},
        {"patch data", E::unsupported, flags(1 << 5)},
        {"masked headers", E::unsupported, flags(1 << 13)},
        {"AES without its parameters", E::damaged, withBoth([](Header& h) { h.method = 99, h.flags = 1; })},
        {"AES parameters on a plain part", E::damaged,
         withBoth([](Header& h) { h.extra = extraField(0x9901, le16(2) + "AE\3" + le16(0)); })},
    };
}

std::vector<Case> encryptionCases() {
    const auto changed = [](const std::function<void(ForgedEntry&)>& change) {
        Entries entries = encrypted();
        change(entries.back());
        return forge(entries);
    };
    Entries mixed = encrypted();
    mixed.push_back(stored("slipped-in.json", "{}"));
    const auto parameters = [&](std::size_t at, char byte) {
        return changed([&](ForgedEntry& e) { e.both([&](Header& h) { h.extra.at(4 + at) = byte; }); });
    };
    return {
        {"a plain part among encrypted ones", E::damaged, forge(mixed)},
        {"AES-128", E::unsupported, parameters(4, 1)},
        {"unknown version", E::unsupported, parameters(0, 3)},
        {"unknown vendor", E::unsupported, parameters(2, 'X')},
        {"unknown method inside", E::unsupported, parameters(5, 12)},
        {"two parameter fields", E::damaged,
         changed([](ForgedEntry& e) { e.both([](Header& h) { h.extra += h.extra; }); })},
        {"other parameters in the header", E::damaged,
         changed([](ForgedEntry& e) { e.local.extra.at(4) ^= 3; })},
        {"encrypted content types", E::unsupported,
         [] {
             Entries e = encrypted();
             e.back().both([](Header& h) { h.name = typesName; });
             e.erase(e.begin());
             return forge(e);
         }()},
    };
}

std::vector<Case> xmlCases() {
    const std::string open = types.substr(0, types.find("<Default")), close = "</Types>";
    const std::string entry = R"(<Default Extension="a" ContentType="text/plain"/>)";
    const std::string override = R"(<Override PartName="/a.json" ContentType="text/plain"/>)";
    const std::string target = R"(Target="docProps/core.xml")";
    return {
        {"no content types", E::damaged, forge({stored("a.json", "{}")})},
        {"content types in other letters", E::damaged, forge({stored("[content_types].xml", types)})},
        {"content types empty", E::damaged, withTypes("")},
        {"content types cut off", E::damaged, withTypes(types.substr(0, types.size() - 3))},
        {"content types with a document type", E::damaged, withTypes(bomb(types))},
        {"content types of another vocabulary", E::damaged, withTypes("<Types xmlns=\"urn:x\"></Types>")},
        {"content types without vocabulary", E::damaged, withTypes("<Types/>")},
        {"another root", E::damaged, withTypes("<Type xmlns=\"urn:x\"/>")},
        {"no UTF-8", E::damaged, withTypes(open + "\xFF" + close)},
        {"extension twice", E::damaged, withTypes(open + entry + entry + close)},
        {"part twice", E::damaged, withTypes(open + override + override + close)},
        {"no type", E::damaged, withTypes(open + R"(<Default Extension="json" ContentType=""/>)" + close)},
        {"no extension", E::damaged, withTypes(open + R"(<Default ContentType="text/plain"/>)" + close)},
        {"unknown element", E::damaged, withTypes(open + "<Other/>" + close)},
        {"content types too large", E::limitExceeded,
         withTypes(open + std::string(limits::xmlBytes, ' ') + close)},
        {"relationships no XML", E::damaged, withRelationships("{}")},
        {"relationships with a document type", E::damaged, withRelationships(bomb(relationships("")))},
        {"two core properties", E::damaged,
         withRelationships(relationships(relationship(target) + relationship(target)))},
        {"core properties missing", E::damaged, withRelationships(relationships(relationship(target)))},
        {"core properties elsewhere", E::damaged,
         withRelationships(relationships(relationship(R"(Target="http://host/x" TargetMode="External")")))},
        {"core properties without target", E::damaged, withRelationships(relationships(relationship("")))},
        {"core properties are the relationships", E::damaged,
         withRelationships(relationships(relationship(R"(Target="/_rels/.rels")")))},
        {"core properties outside", E::damaged,
         withRelationships(relationships(relationship(R"(Target="../../x")")))},
        {"core properties no XML", E::damaged, withCore("<")},
        {"core properties with a document type", E::damaged, withCore(bomb(core("<title>&b;</title>")))},
        {"revision no number", E::damaged, withCore(core("<cp:revision>many</cp:revision>"))},
        {"revision too large", E::damaged, withCore(core("<cp:revision>18446744073709551616</cp:revision>"))},
        {"revision negative", E::damaged, withCore(core("<cp:revision>-1</cp:revision>"))},
        {"two titles", E::damaged, withCore(core("<title>a</title><title>b</title>"))},
    };
}

void expectRefusals(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        try {
            Package::openBytes(c.bytes, "some/\x1B[2Jfile");
            ADD_FAILURE() << "accepted: " << c.what;
        } catch (const OpenError& error) {
            EXPECT_EQ(c.kind, error.kind()) << c.what << ": " << error.what();
            EXPECT_TRUE(
                std::string(error.what()).starts_with("Failed to open OPC Package \"some/\\x1B[2Jfile\": "))
                << c.what;
            for (const char byte : std::string(error.what()))
                EXPECT_TRUE(static_cast<unsigned char>(byte) >= 0x20 && byte != 0x7F) << c.what;
            EXPECT_LT(std::string(error.what()).size(), 1000u) << c.what;
        }
    }
}

// If these were refused, the cases below would prove nothing.
TEST(HostilePackage, TheHonestOnesAreAccepted) {
    EXPECT_EQ(2u, contentsOf(Package::openBytes(forge(good()))).size());
    EXPECT_EQ("{}", contentsOf(Package::openBytes(withDescriptor(honestDescriptor()))).at(u"/a.json"));
    EXPECT_EQ("{}",
              contentsOf(Package::openBytes(withDescriptor(honestDescriptor().substr(4)))).at(u"/a.json"));
    EXPECT_EQ(std::size_t{1} << 20,
              contentsOf(Package::openBytes(plus(deflated()))).at(u"/zeros.json").size());
    EXPECT_EQ("{}", contentsOf(Package::openBytes(named("n/%41.json"))).at(u"/n/%41.json"));
    EXPECT_EQ("{}", contentsOf(Package::openBytes(named("\xC3\xA9", utf8Flag))).at(u"/\u00E9"));
    EXPECT_EQ(1u, contentsOf(Package::openBytes(withTypes(types))).size());
    EXPECT_TRUE(FileSystemManager(Package::openBytes(forge(encrypted()))).isEncrypted());
    const Package properties =
        Package::openBytes(withCore(core("<cp:revision>5</cp:revision><other>x</other>")));
    EXPECT_EQ(5u, CorePropertiesManager(properties).getCoreProperties().revision);
    ForgedEntry folder = stored("f/", "");
    folder.attributes = 0040755u << 16 | 0x10;
    EXPECT_EQ(2u, contentsOf(Package::openBytes(plus(folder))).size());
    // Only the directory at the end counts.
    EXPECT_EQ(1u, contentsOf(Package::openBytes(twoDirectories())).count(u"/data.bin"));
    // Allowed, though other programs may take the two for one.
    EXPECT_EQ(3u, contentsOf(Package::openBytes(plus(stored("A.json", "{}")))).size());
}

TEST(HostilePackage, StructureThatContradictsItself) {
    expectRefusals(structureCases());
}
TEST(HostilePackage, NamesThatLeadElsewhere) {
    expectRefusals(nameCases());
}
TEST(HostilePackage, HeadersThatLie) {
    expectRefusals(headerCases());
}
TEST(HostilePackage, EncryptionThatIsNone) {
    expectRefusals(encryptionCases());
}
TEST(HostilePackage, XmlPartsThatAreWrong) {
    expectRefusals(xmlCases());
}

TEST(HostilePackage, ErrorsNameThePart) {
    try {
        Package::openBytes(withBoth([](Header& header) { ++header.crc; }), "g.vksettings");
        FAIL();
    } catch (const OpenError& error) {
        EXPECT_EQ("/a.json", error.part());
        EXPECT_TRUE(std::string(error.what())
                        .starts_with("Failed to open OPC Package \"g.vksettings\": part \"/a.json\": "))
            << error.what();
    }
}

} // namespace
