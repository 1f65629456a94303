// What the disk or a bad copy does to a good package: every change of a byte, every cut.
#include "opc/Samples.hpp"

#include <gtest/gtest.h>

namespace {

using namespace opc_test;

constexpr auto password = "correct horse";

/// Small enough to try everything, with stored and deflated parts.
Package small() {
    Package package = Package::create();
    CorePropertiesManager(package).setCoreProperties(sampleProperties());
    FileSystemManager files(package);
    files.addFile(u"/schema.json", "schema", getTextContentType());
    files.addFile(u"/settingstree/settings.json", std::string(1100, '[') + "1" + std::string(1100, ']'),
                  getTextContentType());
    return package;
}

/// Whether damaged bytes are refused, or give exactly what was written.
bool refusedOrRight(const std::string& bytes, const Package& original, std::size_t& accepted) {
    try {
        Package package = Package::openBytes(bytes);
        qfpackaging::enableDecryptionFromPassword(package, {password});
        ++accepted;
        return sameContent(package, original) && CorePropertiesManager(package).getCoreProperties() ==
                                                     CorePropertiesManager(original).getCoreProperties();
    } catch (const OpenError&) {
        return true;
    }
}

TEST(Damage, EveryTruncationIsRefused) {
    const std::string bytes = small().toBytes();
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_EQ(ErrorKind::damaged, failureOf([&] { Package::openBytes(bytes.substr(0, length)); }))
            << length;
}

TEST(Damage, EveryChangedByteIsRefusedOrHarmless) {
    const Package original = small();
    const std::string bytes = original.toBytes();
    std::size_t accepted = 0, tried = 0;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        for (const int change : {0xFF, 1, 2, 4, 8, 16, 32, 64, 128}) {
            std::string damaged = bytes;
            damaged[at] = static_cast<char>(damaged[at] ^ change);
            ++tried;
            EXPECT_TRUE(refusedOrRight(damaged, original, accepted)) << "byte " << at << " change " << change;
        }
    }
    EXPECT_GT(tried, 9'000u);
    // Times, versions and the like are not checked, but little else.
    EXPECT_LT(accepted, tried / 8);
}

TEST(Damage, EveryChangedByteOfAnEncryptedPackageIsRefusedOrHarmless) {
    Package original = Package::create();
    FileSystemManager(original).addFile(u"/settings.json", std::string(300, 's') + "end",
                                        getTextContentType());
    qfpackaging::enableEncryptionFromPassword(original, {password});
    const std::string bytes = original.toBytes();
    std::size_t accepted = 0;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        std::string damaged = bytes;
        damaged[at] = static_cast<char>(damaged[at] ^ 0xFF);
        EXPECT_TRUE(refusedOrRight(damaged, original, accepted)) << "byte " << at;
    }
    EXPECT_LT(accepted, bytes.size() / 8);
}

} // namespace
