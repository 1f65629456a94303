// The command line of vksettings: which commands and options there are, and what their exit codes mean.

#include "Commands.hpp"
#include "Failure.hpp"
#include "ForeignFailure.hpp"
#include "Language.hpp"
#include "Tree.hpp"

#include <CLI/CLI.hpp>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <iostream>
#include <system_error>
#include <type_traits>

namespace {

using namespace vksettings;

/// What the parsed command line asks for.
using Job = std::function<ExitCode()>;

/// `action` may return an exit code; an exception is another way to end.
template <class Action>
CLI::App* command(CLI::App& app, const std::string& name, const std::string& help, Job& job, Action action) {
    CLI::App* added = app.add_subcommand(name, help);
    added->callback([&job, action] {
        if constexpr (std::is_void_v<decltype(action())>)
            job = [action] {
                action();
                return done;
            };
        else
            job = action;
    });
    return added;
}

void addLevel(CLI::App* to, std::string& level, const std::string& help) {
    to->add_option("--level", level, help)->capture_default_str();
}

void addReading(CLI::App& app, Job& job) {
    static ListOptions listing;
    auto* list = command(app, "list", "Show the settings of a group", job,
                         [] { vksettings::list(listing, std::cout); });
    list->add_option("NAME", listing.name, "Full name of a group or setting; all groups without it");
    list->add_flag("-r,--recursive", listing.recursive, "Groups within groups as well");
    list->add_flag("-a,--all", listing.hidden, "Hidden groups and settings as well");
    list->add_flag("--json", listing.json,
                   "Print a JSON array of objects as get does; a group has the type \"group\" and no value");

    static GetOptions getting;
    auto* get = command(app, "get", "Print a value", job, [] { vksettings::get(getting, std::cout); });
    get->add_option("NAME", getting.name, "Full name of a setting")->required();
    addLevel(get, getting.level, "One level; without it the value in effect");
    get->add_flag("--json", getting.json, "Print a JSON object with name, value, type, dimensions and level");

    static ExplainOptions explaining;
    auto* explain = command(app, "explain", "Show what every level says and which one decides", job,
                            [] { vksettings::explain(explaining, std::cout); });
    explain->add_option("NAME", explaining.name, "Full name of a setting")->required();
    explain->add_flag("--json", explaining.json, "Print a JSON object");
}

void addWatching(CLI::App& app, Job& job) {
    static WatchOptions watching;
    auto* watch = command(app, "watch", "Print changes as they happen, until Ctrl-C", job,
                          [] { vksettings::watch(watching, std::cout); });
    watch->add_option("NAME", watching.name, "Full name of a group or setting; everything without it");
    watch->add_flag("--json", watching.json, "Print one JSON object per line");
}

void addWriting(CLI::App& app, Job& job) {
    static SetOptions setting;
    auto* set = command(app, "set", "Store a value", job, [] { vksettings::set(setting); });
    set->add_option("NAME", setting.name, "Full name of a setting")->required();
    set->add_option("VALUE", setting.value,
                    "A value of the setting's type: text, number, true, [1,2], [[1,2],[3,4]]")
        ->required();
    addLevel(set, setting.level, "Where to store it");
    set->add_flag("--json", setting.json,
                  "VALUE is JSON whatever the type: plain, or {\"qfdata\":...,\"qftype\":...}");

    static std::string name, level = "user";
    auto* unset =
        command(app, "unset", "Drop the value of one level", job, [] { vksettings::unset(name, level); });
    unset->add_option("NAME", name, "Full name of a setting")->required();
    addLevel(unset, level, "Which one");
}

void addFiles(CLI::App& app, Job& job) {
    static ExportOptions exporting;
    auto* out = command(app, "export", "Write the values of a level to a settings file", job, [] {
        exporting.file = exporting.names.back();
        exporting.names.pop_back();
        vksettings::exportSettings(exporting, std::cout);
    });
    out->add_option(
           "NAME... FILE", exporting.names,
           "Groups or settings of one product, then the file to write; an existing one has to be a settings "
           "file of that product")
        ->required()
        ->expected(2, -1);
    addLevel(out, exporting.level,
             "Whose values: session, user or installation; factory for a factory file with the definitions");

    static ImportOptions importing;
    auto* in = command(app, "import", "Read a settings file; with --merge store its values", job,
                       [] { vksettings::importSettings(importing, std::cout); });
    in->add_option("FILE", importing.file, "A settings file")->required();
    in->add_flag("--merge", importing.merge, "Store the values in the settings of the same names");
    addLevel(in, importing.level, "The level that the file's values are for");

    static ValidateOptions validating;
    auto* validate = command(app, "validate", "List the values that the definitions do not allow", job,
                             [] { return vksettings::validate(validating, std::cout); });
    validate->add_option("FILE|GROUP", validating.target,
                         "A settings file, or the full name of a group or setting; everything without it");
    validate->add_flag("--json", validating.json,
                       "Print a JSON array of objects with name, finding, level, value, type and rule");

    static DumpOptions dumping;
    auto* dump = command(app, "dump", "Print any settings file as JSON", job,
                         [] { vksettings::dump(dumping, std::cout); });
    dump->add_option("FILE", dumping.file, "A settings file")->required();
    dump->add_option("--password", dumping.password, "Of an encrypted file");
}

void addPlaces(CLI::App& app, Job& job) {
    static PrefdirOptions place;
    auto* prefdir = command(app, "prefdir", "Show where the personal settings are, and why there", job,
                            [] { vksettings::prefdir(place, std::cout); });
    prefdir->add_flag("--json", place.json, "Print a JSON object");
}

void addUpgrade(CLI::App& app, Job& job) {
    using What = UpgradeOptions::What;
    static UpgradeOptions upgrading;
    auto* upgrade = command(app, "upgrade", "Show or undo what later releases change in personal files", job,
                            [] { return vksettings::upgrade(upgrading, std::cout); });
    upgrade->add_option("GROUP", upgrading.group, "A top-level group; --log shows all without it");
    auto* what = upgrade->add_option_group("What to do");
    const auto add = [what](const char* name, What which, const char* help) {
        return what->add_flag_callback(
            name, [which] { upgrading.what = which; }, help);
    };
    add("--dry-run", What::dryRun, "Show what would change in the file of GROUP; write nothing");
    add("--log", What::log, "Show what upgrades did");
    auto* undo = add("--undo", What::undo, "Write the file of GROUP as it was before its last upgrade");
    what->require_option(1);
    auto* to = upgrade->add_option("--to", upgrading.to, "The folder for the file of --undo");
    undo->needs(to);
    to->needs(undo);
    upgrade->add_flag("--json", upgrading.json, "Print JSON");
}

void addFactory(CLI::App& app, Job& job) {
    CLI::App* factory = app.add_subcommand("factory", "For toolbox authors: definitions and factory files");
    factory->require_subcommand(1);

    static BuildOptions building;
    auto* build = command(*factory, "build", "Make a factory file of a definition document", job,
                          [] { factoryBuild(building, std::cout); });
    build->add_option("DOCUMENT", building.document, "JSON definition document")->required();
    build->add_option("FILE", building.file, "Factory file to write")->required();
    build->add_flag("--force", building.force,
                    "Also over a file without write permission, which stays without");

    static std::string installed;
    static bool hidden = false;
    auto* install = command(*factory, "install", "Copy a factory file below the factory folder and list it",
                            job, [] { factoryInstall(installed, hidden, std::cout); });
    install->add_option("FILE", installed, "A factory file")->required();
    install->add_flag("--hidden", hidden, "The group is not shown to users");

    static InspectOptions inspected;
    auto* inspect = command(*factory, "inspect", "Show what a factory file holds", job,
                            [] { factoryInspect(inspected, std::cout); });
    inspect->add_option("FILE", inspected.file, "A factory file")->required();
    inspect->add_flag("--json", inspected.json, "Print a JSON object");

    static CheckOptions checked;
    auto* check =
        command(*factory, "check", "Check a factory file, or what it changes for users of an older one", job,
                [] { return factoryCheck(checked, std::cout); });
    check
        ->add_option("[OLD] FILE", checked.files,
                     "A factory file; with the released one before it what users of that would lose")
        ->required()
        ->expected(1, 2);
    check->add_flag("--json", checked.json,
                    "Print a JSON array of objects with finding, kind, name and message");

    static GSchemaOptions schemas;
    auto* convert = command(*factory, "from-gschema", "Turn GSettings schemas into definition documents", job,
                            [] { factoryFromGSchema(schemas, std::cout); });
    convert->add_option("FILE", schemas.files, "GSettings schema files (*.gschema.xml)")->required();
    convert->add_option("-o,--output", schemas.folder, "Folder for the documents");
}

/// A reader that has seen enough is no failure.
bool isReaderGone() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return ::poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

/// The words of the command line, last first, as the parser takes them. A negative number that is to be set
/// looks like an option: it moves behind a "--".
std::vector<std::string> words(int argc, char** argv) {
    std::vector<std::string> all(argv + 1, argv + argc);
    const bool isSet = !all.empty() && all.front() == "set";
    const auto negative = std::find_if(all.begin(), all.end(), [](const std::string& word) {
        return word == "--" || word == "-Inf" ||
               (word.size() > 1 && word[0] == '-' && (word[1] == '.' || (word[1] >= '0' && word[1] <= '9')));
    });
    if (isSet && negative != all.end() && *negative != "--") {
        const std::string number = *negative;
        all.erase(negative);
        all.insert(all.end(), {"--", number});
    }
    std::reverse(all.begin(), all.end());
    return all;
}

/// The names of all commands of `app`, as messages list them.
std::string commandNames(const CLI::App& app) {
    std::string names;
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; }))
        if (!each->get_name().empty())
            names += (names.empty() ? "" : ", ") + each->get_name();
    return names;
}

/// The commands of which the command line has none; empty when it has one.
std::string missingCommand(const CLI::App& app) {
    const CLI::App* at = &app;
    while (!at->get_subcommands().empty())
        at = at->get_subcommands().front();
    return commandNames(*at);
}

/// Refuses the first word that should name a command of `app` and does not.
void checkCommand(const CLI::App& app, const std::vector<std::string>& words, std::size_t at) {
    if (at >= words.size() || words[at].starts_with('-'))
        return;
    const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
    if (commands.empty())
        return;
    const auto named = std::find_if(commands.begin(), commands.end(), [&](const CLI::App* command) {
        return command->get_name() == words[at];
    });
    if (named == commands.end())
        throw WrongUsage("there is no command \"" + (at == 0 ? "" : words[at - 1] + " ") + words[at] +
                         "\", only " + commandNames(app));
    checkCommand(**named, words, at + 1);
}

void flushOutput() {
    errno = 0;
    std::cout.flush();
    if (!std::cout && !isReaderGone())
        throw std::system_error(errno != 0 ? errno : EIO, std::generic_category(), "cannot write the output");
}

/// A function of a definition that ends its thread would end the command with 0, or leave it waiting for
/// ever.
[[noreturn]] void endedByFunction() {
    std::cout.flush();
    std::cerr << "vksettings: a function of a definition has ended its thread" << std::endl;
    ::_exit(fileOrSystem);
}

int run(int argc, char** argv) {
    CLI::App app("Reads, changes and explains levelled settings.", "vksettings");
    app.set_version_flag("--version", VKSETTINGS_VERSION);
    app.require_subcommand(1);
    app.footer("Exit codes: 0 done, 1 refused or not found, 2 wrong usage, 3 file or system error.");
    Job job;
    addReading(app, job);
    addWatching(app, job);
    addWriting(app, job);
    addFiles(app, job);
    addPlaces(app, job);
    addUpgrade(app, job);
    addFactory(app, job);
    checkCommand(app, {argv + 1, argv + argc}, 0);
    try {
        app.parse(words(argc, argv));
    } catch (const CLI::ParseError& error) {
        if (const std::string commands = missingCommand(app); error.get_exit_code() != 0 && !commands.empty())
            std::cerr << "one of these commands is required: " << commands << '\n';
        else if (app.exit(error) == 0)
            return done;
        return usage;
    }
    // A watch only prints what changes, and takes its signals while there is one thread.
    const Job whole = [&job] { return callEndable(job, endedByFunction); };
    const ExitCode code = app.got_subcommand("watch") ? whole() : withLanguage(whole);
    warnOfLoadProblems();
    flushOutput();
    return code;
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a reader that has seen enough is no crash
    const auto guarded = [&] {
        try {
            return run(argc, argv);
        } catch (const std::exception& failure) {
            const vksettings::Explained explained = vksettings::explainFailure(failure);
            std::cerr << "vksettings: " << explained.message << '\n';
            vksettings::warnOfLoadProblems(explained.message);
            return static_cast<int>(explained.code);
        }
    };
    return vksettings::callForeign(guarded, [] {
        std::cerr << "vksettings: a function of a definition ends with an unknown failure\n";
        return static_cast<int>(vksettings::refused);
    });
}
