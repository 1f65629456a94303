#include "varnek/modules/Module.hpp"
#include "varnek/modules/ModuleError.hpp"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace varnek::modules;

template <class Call>
ModuleErrorKind kindOf(Call call) {
    try {
        call();
    } catch (const ModuleError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

class Modules : public testing::Test {
  protected:
    Modules() {
        std::string name = fs::temp_directory_path() / "module-test-XXXXXX";
        folder = fs::canonical(::mkdtemp(name.data()));
    }
    ~Modules() override { fs::remove_all(folder); }

    fs::path folder;
    const fs::path plugin = VARNEK_TEST_PLUGIN;
};

TEST_F(Modules, SymbolsOfTheModuleItselfAreFound) {
    const ModuleHandle module = Module::load(plugin);
    EXPECT_EQ(5, module->function<int(int, int)>("varnekTestAdd")(2, 3));
    EXPECT_EQ(40, *static_cast<int*>(module->symbol("varnekTestCounter")));
    for (const std::string_view missing :
         {std::string_view("varnekTestSub"), std::string_view("varnekTestHidden"), std::string_view(""),
          std::string_view("varnekTestAdd\0x", 15),
          std::string_view("malloc")}) { // of a library that it depends on
        EXPECT_EQ(nullptr, module->findSymbol(missing)) << missing;
        EXPECT_EQ(ModuleErrorKind::symbolMissing, kindOf([&] { module->symbol(missing); })) << missing;
    }
}

TEST_F(Modules, OneFileIsOneModule) {
    fs::create_symlink(plugin, folder / "link.so");
    std::vector<ModuleHandle> handles(3);
    std::vector<std::thread> threads;
    for (auto& handle : handles)
        threads.emplace_back([&] { handle = Module::load(plugin); });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(handles[0], handles[1]);
    EXPECT_EQ(handles[0], handles[2]);
    EXPECT_EQ(handles[0], Module::load(folder / "link.so"));
}

TEST_F(Modules, FailuresCarryTheTextOfTheSystem) {
    std::ofstream(folder / "text.so") << "no library";
    const std::pair<fs::path, std::string> table[] = {{folder / "missing.so", "No such file or directory"},
                                                      {folder / "text.so", "file too short"},
                                                      {folder, "file"}};
    for (const auto& [path, text] : table)
        try {
            Module::load(path);
            ADD_FAILURE() << path;
        } catch (const ModuleError& error) {
            EXPECT_EQ(ModuleErrorKind::loadFailed, error.kind());
            EXPECT_EQ(path, error.path());
            EXPECT_NE(std::string::npos, error.cause().find(text)) << error.cause();
            EXPECT_EQ("cannot load the module \"" + path.native() + "\": " + error.cause(), error.what());
        }
    EXPECT_EQ(ModuleErrorKind::invalidName, kindOf([] { Module::load("libc.so.6"); }));
    EXPECT_EQ(ModuleErrorKind::invalidName, kindOf([] { Module::load(fs::path(std::string("/a\0b", 4))); }));
}

TEST_F(Modules, AreLocatedByPlainNameInTheirFolderOnly) {
    const fs::path inside = folder / "plugins", outside = folder / "libother.so";
    fs::create_directories(inside / "libfolder.so");
    std::ofstream(inside / "libplain.so") << "x";
    std::ofstream(outside) << "x";
    fs::create_symlink("libplain.so", inside / "libalias.so");
    fs::create_symlink("../libother.so", inside / "liblink.so");
    fs::create_symlink("libnowhere.so", inside / "libdangling.so");
    fs::create_directory_symlink(inside, folder / "other");

    EXPECT_EQ(inside / "libplain.so", locateModule(inside, "plain"));
    EXPECT_EQ(inside / "libplain.so", locateModule(inside, "alias"));
    EXPECT_EQ(inside / "libplain.so", locateModule(folder / "other", "plain"))
        << "the folder itself may be a link";

    const std::pair<std::string, ModuleErrorKind> table[] = {
        {"", ModuleErrorKind::invalidName},         {".", ModuleErrorKind::invalidName},
        {"..", ModuleErrorKind::invalidName},       {"../other", ModuleErrorKind::invalidName},
        {"a/b", ModuleErrorKind::invalidName},      {"a\\b", ModuleErrorKind::invalidName},
        {"/plain", ModuleErrorKind::invalidName},   {std::string("plain\0", 6), ModuleErrorKind::invalidName},
        {"missing", ModuleErrorKind::notFound},     {"dangling", ModuleErrorKind::notFound},
        {"folder", ModuleErrorKind::notFound},      {"link", ModuleErrorKind::leavesFolder},
        {"libplain.so", ModuleErrorKind::notFound},
    };
    for (const auto& [name, kind] : table)
        EXPECT_EQ(kind, kindOf([&, &plain = name] { locateModule(inside, plain); })) << name;
    EXPECT_EQ(ModuleErrorKind::notFound, kindOf([&] { locateModule(folder / "none", "plain"); }));
}

} // namespace
