// Other programs read what we write, and we read what they write.
#include "files/TemporaryFolder.hpp"
#include "opc/Samples.hpp"

namespace {

using namespace opc_test;
using testing_support::contentOf;
using testing_support::putContent;
using testing_support::TemporaryFolder;

bool hasProgram(const std::string& name) {
    return std::system(("command -v " + name + " >/dev/null").c_str()) == 0;
}

class StockTools : public testing::Test {
  protected:
    /// Runs a shell command in the folder; returns its exit code, and keeps what it printed.
    int run(const std::string& command) {
        const int status = std::system(
            ("cd " + folder.path().native() + " && (" + command + ") > ../" + outName() + " 2>&1").c_str());
        output = contentOf(folder.path().parent_path() / outName());
        std::filesystem::remove(folder.path().parent_path() / outName());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /// Runs a Python program with the package's path as its argument.
    int runPython(const std::string& program) {
        putContent(folder / "program.py", program);
        return run("/usr/bin/python3 program.py p.vksettings");
    }
    std::string outName() const { return folder.path().filename().native() + ".out"; }

    TemporaryFolder folder;
    std::string output;
};

#define NEEDS(program)                                                                                       \
    if (!hasProgram(program))                                                                                \
    GTEST_SKIP() << program " is not installed"

TEST_F(StockTools, UnzipFindsNothingToComplainAbout) {
    NEEDS("unzip");
    const Package package = samplePackage();
    putContent(folder / "p.vksettings", package.toBytes());
    EXPECT_EQ(0, run("unzip -t p.vksettings")) << output;
    EXPECT_NE(std::string::npos, output.find("No errors detected")) << output;
    EXPECT_EQ(0, run("unzip -q p.vksettings")) << output;
    for (const auto& [name, bytes] : contentsOf(package))
        EXPECT_EQ(bytes, contentOf(folder.path() / std::filesystem::path(name.substr(1))))
            << testing::PrintToString(name);
}

TEST_F(StockTools, PythonReadsThePackageAsOpc) {
    NEEDS("/usr/bin/python3");
    putContent(folder / "p.vksettings", samplePackage().toBytes());
    EXPECT_EQ(0, runPython(R"(
import sys, zipfile
from xml.dom import minidom
z = zipfile.ZipFile(sys.argv[1])
assert z.testzip() is None
names = z.namelist()
assert names[0] == '[Content_Types].xml' and names[1:] == sorted(names[1:], key=lambda n: (n != '_rels/.rels', n != 'docProps/core.xml', n)), names
assert all(i.date_time == (1980, 1, 1, 0, 0, 0) and i.flag_bits & 1 == 0 for i in z.infolist())
types = minidom.parseString(z.read('[Content_Types].xml')).documentElement
assert types.namespaceURI == 'http://schemas.openxmlformats.org/package/2006/content-types'
defaults = {e.getAttribute('Extension'): e.getAttribute('ContentType') for e in types.getElementsByTagName('Default')}
overrides = {e.getAttribute('PartName'): e.getAttribute('ContentType') for e in types.getElementsByTagName('Override')}
for name in names[1:]:
    assert '/' + name in overrides or name.rsplit('.', 1)[1] in defaults, name
assert overrides['/docProps/core.xml'] == 'application/vnd.openxmlformats-package.core-properties+xml'
assert defaults['rels'] == 'application/vnd.openxmlformats-package.relationships+xml'
(relation,) = minidom.parseString(z.read('_rels/.rels')).getElementsByTagName('Relationship')
assert relation.getAttribute('Type').endswith('/metadata/core-properties') and relation.getAttribute('Id')
core = minidom.parseString(z.read(relation.getAttribute('Target')))
value = lambda name: core.getElementsByTagName(name)[0].firstChild.data
assert value('dc:title') == 'Settings Data' and value('cp:revision') == '7' and value('cp:version') == 'R2025a'
)")) << output;
}

TEST_F(StockTools, PackagesThatPythonWroteOpen) {
    NEEDS("/usr/bin/python3");
    // Written whole, and written as a stream, where sizes follow the data.
    for (const char* stream : {"False", "True"}) {
        EXPECT_EQ(0, runPython(std::string("stream = ") + stream + R"(
import sys, zipfile
class Pipe:
    def __init__(self, f): self.f = f
    def write(self, b): return self.f.write(b)
    def flush(self): self.f.flush()
with open(sys.argv[1], 'wb') as f, zipfile.ZipFile(Pipe(f) if stream else f, 'w', zipfile.ZIP_DEFLATED) as z:
    z.writestr('[Content_Types].xml', '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"><Default Extension="json" ContentType="text/plain"/></Types>')
    z.writestr('settingstree/settings.json', 'x' * 5000)
    z.writestr('caf\u00e9.json', '')
)")) << output;
        const auto contents = contentsOf(Package::open(folder / "p.vksettings"));
        EXPECT_EQ(std::string(5000, 'x'), contents.at(u"/settingstree/settings.json"));
        EXPECT_EQ("", contents.at(u"/caf\u00E9.json"));
    }
}

TEST_F(StockTools, PackagesThatZipChangedOpen) {
    NEEDS("zip");
    putContent(folder / "p.vksettings", samplePackage().toBytes());
    std::filesystem::create_directories(folder / "settingstree/new");
    putContent(folder / "settingstree/new/settings.json", std::string(5000, 'y'));
    EXPECT_EQ(0, run("zip -q -r p.vksettings settingstree")) << output; // with entries for the folders
    auto expected = contentsOf(samplePackage());
    expected[u"/settingstree/new/settings.json"] = std::string(5000, 'y');
    Package package = Package::open(folder / "p.vksettings");
    EXPECT_EQ(expected, contentsOf(package));
    EXPECT_EQ(sampleProperties(), CorePropertiesManager(package).getCoreProperties());
    EXPECT_EQ(expected, contentsOf(Package::openBytes(package.toBytes())));
}

} // namespace
