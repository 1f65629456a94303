#include "varnek/bundles/BundleFolder.hpp"

#include "varnek/bundles/ManifestFile.hpp"
#include "varnek/exception/CurrentException.hpp"
#include "varnek/files/Folder.hpp"

namespace varnek::bundles {
namespace {

using cppmicroservices::Bundle;
using cppmicroservices::BundleContext;

constexpr const char* libraryExtension = ".so";

std::string causeOf() {
    return exception::causeOfCurrentException("not a standard exception");
}

void addProblem(LibraryStart& start, const std::string& text) {
    start.outcome = LibraryOutcome::failed;
    start.problem.append(start.problem.empty() ? "" : "; ").append(text);
}

void startAll(LibraryStart& start) {
    for (Bundle& bundle : start.bundles)
        try {
            bundle.Start();
        } catch (...) {
            addProblem(start, "cannot start the bundle \"" + bundle.GetSymbolicName() + "\" of \"" +
                                  start.library.native() + "\": " + causeOf());
        }
}

LibraryStart startLibrary(BundleContext& context, const std::filesystem::path& library,
                          const Acceptance& accepts) {
    LibraryStart start{library, LibraryOutcome::running, {}, {}};
    try {
        if (!std::filesystem::is_regular_file(manifestFile(library)))
            start.outcome = LibraryOutcome::noBundle;
        else if (accepts && !accepts(library))
            start.outcome = LibraryOutcome::refused;
        else
            start.bundles = context.InstallBundles(library.native(), readManifests(library));
    } catch (...) {
        addProblem(start, "cannot install the bundle \"" + library.native() + "\": " + causeOf());
    }
    startAll(start);
    return start;
}

} // namespace

std::vector<LibraryStart> startBundles(BundleContext context, const std::filesystem::path& folder,
                                       const Acceptance& accepts) {
    static_cast<void>(context.GetBundle()); // throws when the context is not valid
    std::vector<LibraryStart> starts;
    for (const std::filesystem::path& library : files::listFiles(folder, libraryExtension))
        starts.push_back(startLibrary(context, library, accepts));
    return starts;
}

} // namespace varnek::bundles
