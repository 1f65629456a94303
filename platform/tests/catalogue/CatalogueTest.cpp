#include "varnek/catalogue/Catalogue.hpp"

#include "catalogue/EnglishTexts.hpp"
#include "varnek/catalogue/TranslationError.hpp"
#include "varnek/files/FileError.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <utility>

namespace {

using namespace varnek::catalogue;

constexpr std::string_view core = "VARNEK:settings:core";

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const std::filesystem::path& file, std::string_view content) {
    std::filesystem::remove(file); // some file systems flush a file that is overwritten
    std::ofstream(file, std::ios::binary) << content;
}

const char* const information = "msgid \"\"\n"
                                "msgstr \"\"\n"
                                "\"MIME-Version: 1.0\\n\"\n"
                                "\"Content-Type: text/plain; charset=UTF-8\\n\"\n"
                                "\"Content-Transfer-Encoding: 8bit\\n\"\n";

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text)
        result.append(c == '"' || c == '\\' ? "\\" : "").push_back(c);
    return result + "\"";
}

std::string message(std::string_view component, std::string_view key, std::string_view text) {
    return "\nmsgctxt " + quoted(component) + "\nmsgid " + quoted(key) + "\nmsgstr " + quoted(text) + "\n";
}

/// A folder of its own for translation files.
class Translations : public testing::Test {
  protected:
    Translations() {
        std::string name = std::filesystem::temp_directory_path() / "catalogue-test-XXXXXX";
        folder = ::mkdtemp(name.data());
    }
    ~Translations() override {
        Catalogue::setCurrent(nullptr);
        std::filesystem::remove_all(folder);
    }

    /// Compiles a translation with the tool that translators use.
    std::filesystem::path compile(const std::string& language, const std::string& messages,
                                  const char* head = information) {
        const auto target = folder / language / "LC_MESSAGES";
        std::filesystem::create_directories(target);
        write(folder / "messages.po", head + messages);
        const std::string command =
            "msgfmt -o '" + (target / "varnek.mo").native() + "' '" + (folder / "messages.po").native() + "'";
        EXPECT_EQ(0, std::system(command.c_str()));
        return target / "varnek.mo";
    }

    std::filesystem::path folder;
};

TEST(Catalogue, EveryMessageHasATextThatFitsItsArguments) {
    std::multiset<std::string> components;
    for (const EnglishText& entry : englishTexts()) {
        components.insert(std::string(entry.component));
        Arguments arguments;
        if (!entry.arguments.empty())
            for (std::size_t i = 0; i <= std::size_t(std::ranges::count(entry.arguments, ',')); ++i)
                arguments.push_back("<" + std::to_string(i) + ">");
        const std::string text = Catalogue::english()->text(entry.component, entry.key, arguments);
        EXPECT_EQ(text.npos, text.find(identifier(entry.component, entry.key))) << text;
        for (const std::string& argument : arguments)
            EXPECT_NE(text.npos, text.find(argument)) << text << " lacks " << argument;
        if (!arguments.empty()) {
            arguments.pop_back();
            const std::string lacking = Catalogue::english()->text(entry.component, entry.key, arguments);
            EXPECT_EQ(0u, lacking.find(identifier(entry.component, entry.key)))
                << "an argument too many is listed";
        }
    }
    EXPECT_EQ(14u, components.count("VARNEK:settings:core"));
    EXPECT_EQ(8u, components.count("VARNEK:settings:prefdir"));
    EXPECT_EQ(6u, components.count("VARNEK:settings:config"));
}

/// What platform/catalogue/varnek.pot has to be.
std::string templateText() {
    std::string text =
        "# Messages of VARNEK. The context is the component, the id the key of a message.\n"
        "# Translate the English text; {0}, {1}, ... stand for the arguments and may change places.\n";
    text += information;
    for (const EnglishText& entry : englishTexts()) {
        text += "\n#. ";
        text.append(entry.text).append("\n");
        if (!entry.arguments.empty())
            text.append("#. Arguments: ").append(entry.arguments).append("\n");
        text += message(entry.component, entry.key, "").substr(1);
    }
    return text;
}

TEST(Catalogue, TheTemplateForTranslatorsListsEveryMessage) {
    const auto file = std::filesystem::path(__FILE__).parent_path() / "../../catalogue/varnek.pot";
    if (std::getenv("VARNEK_WRITE_CATALOGUE_TEMPLATE") != nullptr)
        write(file, templateText());
    EXPECT_EQ(templateText(), contentOf(file))
        << "run this test with VARNEK_WRITE_CATALOGUE_TEMPLATE=1 to renew it";
}

TEST(Catalogue, UnknownMessagesReadAsTheirIdentifier) {
    EXPECT_EQ("A:b:key", Catalogue::english()->text("A:b", "key"));
    EXPECT_EQ("VARNEK:settings:core:cfunctionnotfound: x, y",
              Catalogue::english()->text(core, "cfunctionnotfound", {"x", "y"}));
}

TEST_F(Translations, ReplaceTheEnglishTextsWhereTheyFit) {
    const auto german = Catalogue::fromFile(
        compile("de", message(core, "CFunctionNotFound", "Funktion {1} fehlt in „{0}“ {{{0}}}.") +
                          message(core, "UnconvertibleType", "Typ {0} nicht nach {2}") +
                          message(core, "DataTypeNotMatch", "Typ {0:>1000000000}{1}") +
                          message(core, "CanNotCreateTempDirectory", "offen {0") +
                          message(core, "ErrorOverwriteFileInPrefDir", "{file}") +
                          message("VARNEK:settings:config", "CFunctionNotFound", "anderswo") +
                          message(core, "Added", "neu: {0}") +
                          message(core, "SettingsUserDirectoryNotExist", "Kein Ordner.")));
    const struct {
        const char* key;
        Arguments arguments;
        std::string text; // empty: the English one
    } table[] = {
        {"CFunctionNotFound", {"lib", "f"}, "Funktion f fehlt in „lib“ {lib}."},
        {"CFunctionNotFound", {"{1}", "{"}, "Funktion { fehlt in „{1}“ {{1}}."},
        {"SettingsUserDirectoryNotExist", {}, "Kein Ordner."},
        {"SettingsUserDirectoryNotExist", {"unasked"}, "Kein Ordner."},
        {"Added", {"x"}, "neu: x"},
        {"Added", {}, "VARNEK:settings:core:Added"},
        {"UnconvertibleType", {"a", "b"}, ""},
        {"DataTypeNotMatch", {"a", "b"}, ""},
        {"CanNotCreateTempDirectory", {"a"}, ""},
        {"ErrorOverwriteFileInPrefDir", {"a"}, ""},
        {"NoWritePermissionOnDirectory", {"a", "b"}, ""},
    };
    for (const auto& [key, arguments, text] : table)
        EXPECT_EQ(text.empty() ? Catalogue::english()->text(core, key, arguments) : text,
                  german->text(core, key, arguments));
}

TEST_F(Translations, AreFoundByLanguage) {
    compile("de", message(core, "SettingsUserDirectoryNotExist", "de"));
    compile("de_AT", message(core, "SettingsUserDirectoryNotExist", "de_AT"));
    const auto text = [&](const char* language) {
        return Catalogue::fromFolder(folder, language)->text(core, "SettingsUserDirectoryNotExist");
    };
    EXPECT_EQ("de", text("de"));
    EXPECT_EQ("de_AT", text("de_AT"));
    EXPECT_EQ("de", text("de_CH"));
    EXPECT_EQ("de", text("de@formal"));
    EXPECT_THROW(text("fr"), varnek::files::FileError);
    for (const char* wrong : {"", "../de", "de/..", ".", "_de", "de.UTF-8"})
        EXPECT_THROW(text(wrong), std::invalid_argument) << wrong;
}

TEST_F(Translations, InOtherCharacterSetsAreConverted) {
    const auto file = compile("fr", message(core, "SettingsUserDirectoryNotExist", "r\xe9pertoire"),
                              "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=ISO-8859-1\\n\"\n");
    EXPECT_EQ("r\u00e9pertoire", Catalogue::fromFile(file)->text(core, "SettingsUserDirectoryNotExist"));
}

TEST_F(Translations, AreInForceForTheProcessUntilReplaced) {
    const std::string english = Catalogue::current()->text(core, "SettingsUserDirectoryNotExist");
    Catalogue::setCurrent(
        Catalogue::fromFile(compile("eo", message(core, "SettingsUserDirectoryNotExist", "eo"))));
    EXPECT_EQ("eo", Catalogue::current()->text(core, "SettingsUserDirectoryNotExist"));
    Catalogue::setCurrent(nullptr);
    EXPECT_EQ(english, Catalogue::current()->text(core, "SettingsUserDirectoryNotExist"));
}

TEST_F(Translations, DamagedFilesAreRefusedOrRead) {
    const auto file = compile("de", message(core, "CFunctionNotFound", "Funktion {1} fehlt in {0}.") +
                                        message(core, "SettingsUserDirectoryNotExist", "Kein Ordner."));
    const std::string good = contentOf(file);
    int refused = 0;
    const auto tryOut = [&](const std::string& content) {
        write(file, content);
        try {
            const auto read = Catalogue::fromFile(file);
            EXPECT_FALSE(read->text(core, "CFunctionNotFound", {"lib", "f"}).empty());
            EXPECT_FALSE(read->text(core, "SettingsUserDirectoryNotExist").empty());
        } catch (const TranslationError& error) {
            EXPECT_NE(std::string::npos, std::string(error.what()).find(file.native()));
            ++refused;
        }
    };
    int shortened = 0;
    for (std::size_t size = 0; size < good.size(); size += 5, ++shortened)
        tryOut(good.substr(0, size));
    EXPECT_EQ(shortened, refused);
    for (std::size_t i = 0; i < std::min<std::size_t>(good.size(), 128); ++i) // header and tables
        for (const unsigned char bits : {0x01, 0x80, 0xFF}) {
            std::string content = good;
            content[i] = static_cast<char>(static_cast<unsigned char>(content[i]) ^ bits);
            tryOut(content);
        }
    std::string twoHashEntries = good;
    twoHashEntries.replace(20, 4, std::string("\2\0\0\0", 4));
    write(file, twoHashEntries);
    EXPECT_THROW(Catalogue::fromFile(file), TranslationError);
    EXPECT_THROW(Catalogue::fromFile(folder / "missing.mo"), varnek::files::FileError);
}

TEST_F(Translations, APluralRuleOfAnyDepthIsRefused) {
    std::string head = information;
    head += "\"Plural-Forms: nplurals=2; plural=" + std::string(100'000, '(') + "n\\n\"\n";
    write(folder / "messages.po", head + message(core, "SettingsUserDirectoryNotExist", "x"));
    const auto file = folder / "deep.mo";
    ASSERT_EQ(0,
              std::system(
                  ("msgfmt -o '" + file.native() + "' '" + (folder / "messages.po").native() + "'").c_str()));
    EXPECT_THROW(Catalogue::fromFile(file), TranslationError);
}

} // namespace
