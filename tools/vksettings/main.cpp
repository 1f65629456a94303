// The command line of vksettings: which commands and options there are, and what their exit codes mean.

#include "Commands.hpp"
#include "Failure.hpp"
#include "ForeignFailure.hpp"
#include "Language.hpp"
#include "Shell.hpp"
#include "Tree.hpp"

#include <CLI/CLI.hpp>

#include <fcntl.h>
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
    added->callback([&job, action, added] {
        if (!added->get_subcommands().empty())
            return; // the one below it is meant
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
    listing = {};
    auto* list = command(app, "list", "Show the settings of a group", job,
                         [] { vksettings::list(listing, std::cout); });
    list->add_option("NAME", listing.name, "Full name of a group or setting; all groups without it");
    list->add_flag("-r,--recursive", listing.recursive, "Groups within groups as well");
    list->add_flag("-a,--all", listing.hidden, "Hidden groups and settings as well");
    list->add_flag("--remote", listing.remote, "Of the groups that other processes publish");
    list->add_flag("--json", listing.json,
                   "Print a JSON array of objects as get does; a group has the type \"group\" and no value");

    static GetOptions getting;
    getting = {};
    auto* get = command(app, "get", "Print a value", job, [] { vksettings::get(getting, std::cout); });
    get->add_option("NAME", getting.name, "Full name of a setting")->required();
    addLevel(get, getting.level, "One level; without it the value in effect");
    get->add_flag("--remote", getting.remote, "From the process that publishes the group");
    get->add_flag("--json", getting.json, "Print a JSON object with name, value, type, dimensions and level");

    static ExplainOptions explaining;
    explaining = {};
    auto* explain = command(app, "explain", "Show what every level says and which one decides", job,
                            [] { vksettings::explain(explaining, std::cout); });
    explain->add_option("NAME", explaining.name, "Full name of a setting")->required();
    explain->add_flag("--json", explaining.json, "Print a JSON object");
}

void addWatching(CLI::App& app, Job& job) {
    static WatchOptions watching;
    watching = {};
    auto* watch = command(app, "watch", "Print changes as they happen, until Ctrl-C", job,
                          [] { vksettings::watch(watching, std::cout); });
    watch->add_option("NAME", watching.name, "Full name of a group or setting; everything without it");
    watch->add_flag("--remote", watching.remote,
                    "Changes in the groups that other processes publish, and of these groups themselves");
    watch->add_flag("--json", watching.json, "Print one JSON object per line");

    static ServeOptions serving;
    serving = {};
    auto* serve = command(app, "serve", "Let other processes use top-level groups, until Ctrl-C", job,
                          [] { vksettings::serve(serving, std::cout); });
    serve->add_option("GROUP", serving.groups, "Top-level groups")->required();
    serve->add_flag("--json", serving.json, "Print a JSON object when the groups can be found");
}

void addWriting(CLI::App& app, Job& job) {
    static SetOptions setting;
    setting = {};
    auto* set = command(app, "set", "Store a value", job, [] { vksettings::set(setting); });
    set->add_option("NAME", setting.name, "Full name of a setting")->required();
    set->add_option("VALUE", setting.value,
                    "A value of the setting's type: text, number, true, [1,2], [[1,2],[3,4]]")
        ->required();
    addLevel(set, setting.level, "Where to store it");
    set->add_flag("--json", setting.json,
                  "VALUE is JSON whatever the type: plain, or {\"qfdata\":...,\"qftype\":...}");

    static UnsetOptions unsetting;
    unsetting = {};
    auto* unset =
        command(app, "unset", "Drop the value of one level", job, [] { vksettings::unset(unsetting); });
    unset->add_option("NAME", unsetting.name, "Full name of a setting")->required();
    addLevel(unset, unsetting.level, "Which one");
    unset->add_flag("--remote", unsetting.remote, "In the process that publishes the group");
}

void addFiles(CLI::App& app, Job& job) {
    static ExportOptions exporting;
    exporting = {};
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
    importing = {};
    auto* in = command(app, "import", "Read a settings file; with --merge store its values", job,
                       [] { vksettings::importSettings(importing, std::cout); });
    in->add_option("FILE", importing.file, "A settings file")->required();
    in->add_flag("--merge", importing.merge, "Store the values in the settings of the same names");
    addLevel(in, importing.level, "The level that the file's values are for");

    static ValidateOptions validating;
    validating = {};
    auto* validate = command(app, "validate", "List the values that the definitions do not allow", job,
                             [] { return vksettings::validate(validating, std::cout); });
    validate->add_option("FILE|GROUP", validating.target,
                         "A settings file, or the full name of a group or setting; everything without it");
    validate->add_flag("--json", validating.json,
                       "Print a JSON array of objects with name, finding, level, value, type and rule");

    static DumpOptions dumping;
    dumping = {};
    auto* dump = command(app, "dump", "Print any settings file as JSON", job,
                         [] { vksettings::dump(dumping, std::cout); });
    dump->add_option("FILE", dumping.file, "A settings file")->required();
    dump->add_option("--password", dumping.password, "Of an encrypted file");
}

void addPlaces(CLI::App& app, Job& job) {
    static PrefdirOptions place;
    place = {};
    auto* prefdir = command(app, "prefdir", "Show where the personal settings are, and why there", job,
                            [] { vksettings::prefdir(place, std::cout); });
    prefdir->add_flag("--json", place.json, "Print a JSON object");

    static MoveOptions moving;
    moving = {};
    auto* move = command(*prefdir, "move", "Use another preferences directory, as long as the process lives",
                         job, [] { movePrefdir(moving, std::cout); });
    move->add_option("DIRECTORY", moving.directory, "An absolute path; made when it is not there")
        ->required();
    move->add_flag("--copy", moving.copy, "Copy the personal files there first");

    static ToolboxOptions listing;
    listing = {};
    auto* toolboxes = command(app, "toolboxes", "Show what defines the top-level groups", job,
                              [] { vksettings::toolboxes(listing, std::cout); });
    toolboxes->add_flag("--load", listing.load, "Load all of them first, to see what each costs");
    toolboxes->add_flag("--json", listing.json, "Print a JSON array of objects");
}

/// What only a session has, or only a command line.
void addSession(CLI::App& app, Job& job) {
    if (!isInShell()) {
        app.add_subcommand("shell", "Read commands from the terminal or a script; \"help\" lists them");
        return;
    }
    static std::string group;
    group.clear();
    auto* reload = command(app, "reload", "Read the definitions of a group again, and show what that changes",
                           job, [] { vksettings::reload(group, std::cout); });
    reload->add_option("NAME", group, "A top-level group")->required();
    app.add_subcommand("help", "Show the commands, or what follows one")->prefix_command();
    app.add_subcommand("exit", "End the session, as Ctrl-D does");
}

void addUpgrade(CLI::App& app, Job& job) {
    using What = UpgradeOptions::What;
    static UpgradeOptions upgrading;
    upgrading = {};
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
    building = {};
    auto* build = command(*factory, "build", "Make a factory file of a definition document", job,
                          [] { factoryBuild(building, std::cout); });
    build->add_option("DOCUMENT", building.document, "JSON definition document")->required();
    build->add_option("FILE", building.file, "Factory file to write")->required();
    build->add_flag("--force", building.force,
                    "Also over a file without write permission, which stays without");

    static std::string installed;
    static bool hidden = false;
    installed.clear();
    hidden = false;
    auto* install = command(*factory, "install", "Copy a factory file below the factory folder and list it",
                            job, [] { factoryInstall(installed, hidden, std::cout); });
    install->add_option("FILE", installed, "A factory file")->required();
    install->add_flag("--hidden", hidden, "The group is not shown to users");

    static InspectOptions inspected;
    inspected = {};
    auto* inspect = command(*factory, "inspect", "Show what a factory file holds", job,
                            [] { factoryInspect(inspected, std::cout); });
    inspect->add_option("FILE", inspected.file, "A factory file")->required();
    inspect->add_flag("--json", inspected.json, "Print a JSON object");

    static CheckOptions checked;
    checked = {};
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
    schemas = {};
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
std::vector<std::string> inOrderOfParser(std::vector<std::string> all) {
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
    const auto commands = // besides groups of options
        app.get_subcommands([](const CLI::App* command) { return !command->get_name().empty(); });
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

/// A command line of the tool or of its shell, parsed from the defaults on.
class CommandLine {
  public:
    CommandLine() {
        app_.set_version_flag("--version", VKSETTINGS_VERSION);
        app_.require_subcommand(1);
        app_.footer("Exit codes: 0 done, 1 refused or not found, 2 wrong usage, 3 file or system error.");
        addReading(app_, job_);
        addWatching(app_, job_);
        addWriting(app_, job_);
        addFiles(app_, job_);
        addPlaces(app_, job_);
        addUpgrade(app_, job_);
        addFactory(app_, job_);
        addSession(app_, job_);
    }

    ExitCode run(const std::vector<std::string>& words, Language& language, const std::string& where);
    CommandWords describe() const { return describe(app_); }

  private:
    static CommandWords describe(const CLI::App& command);

    CLI::App app_{"Reads, changes and explains levelled settings.", isInShell() ? "" : "vksettings"};
    Job job_;
};

Operand operandOf(const CLI::Option& option) {
    const std::string name = option.get_name();
    const auto has = [&](std::string_view word) { return name.find(word) != std::string::npos; };
    if (has("NAME") || has("GROUP"))
        return Operand::name;
    if (has("FILE") || has("DOCUMENT") || has("DIRECTORY") || name == "--to" || has("--output"))
        return Operand::path;
    return name == "--level" ? Operand::level : Operand::other;
}

CommandWords CommandLine::describe(const CLI::App& command) {
    CommandWords described;
    described.name = command.get_name();
    const auto take = [&](const CLI::App& from) {
        for (const CLI::Option* option : from.get_options()) {
            if (option->get_positional())
                described.operands.push_back(operandOf(*option));
            for (const auto& [names, dashes] :
                 {std::pair(&option->get_lnames(), "--"), std::pair(&option->get_snames(), "-")})
                for (const std::string& name : *names)
                    if (option->get_expected_max() == 0)
                        described.flags.push_back(dashes + name);
                    else
                        described.options[dashes + name] = operandOf(*option);
        }
    };
    take(command);
    for (const CLI::App* below : command.get_subcommands([](const CLI::App*) { return true; }))
        if (below->get_name().empty())
            take(*below); // a group of options
        else
            described.commands.push_back(describe(*below));
    return described;
}

ExitCode runShell(Language& language);

ExitCode CommandLine::run(const std::vector<std::string>& words, Language& language,
                          const std::string& where) {
    checkCommand(app_, words, 0);
    try {
        app_.parse(inOrderOfParser(words));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0 && !where.empty())
            std::cerr << "vksettings: " << where;
        if (const std::string commands = missingCommand(app_);
            error.get_exit_code() != 0 && !commands.empty())
            std::cerr << "one of these commands is required: " << commands << '\n';
        else if (app_.exit(error) == 0) {
            flushOutput();
            return done;
        }
        return usage;
    }
    if (!isInShell() && app_.got_subcommand("shell"))
        return runShell(language);
    // These take their signals while there is one thread.
    const bool isWaiting = app_.got_subcommand("watch") || app_.got_subcommand("serve");
    const Job whole = [this] { return callEndable(job_, endedByFunction); };
    const ExitCode code = isWaiting ? whole() : language.run(whole);
    warnOfLoadProblems();
    flushOutput();
    return code;
}

/// A failure is told after `where`.
ExitCode run(const std::vector<std::string>& words, Language& language, const std::string& where = {}) {
    try {
        return CommandLine().run(words, language, where);
    } catch (const std::exception& failure) {
        const Explained explained = explainFailure(failure);
        std::cerr << "vksettings: " << where << explained.message << '\n';
        warnOfLoadProblems(explained.message);
        return explained.code;
    }
}

/// "help set" is "set --help".
std::vector<std::string> withoutHelp(std::vector<std::string> words) {
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    return words;
}

ExitCode runShell(Language& language) {
    return shell([&](const std::vector<std::string>& words,
                     const std::string& where) { return run(withoutHelp(words), language, where); },
                 [] { return CommandLine().describe(); }, language);
}

/// A closed one would be the next file that is opened.
void occupyStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(descriptor, F_GETFD) < 0)
            ::open("/dev/null", O_RDONLY); // the lowest that is free; writing to it is an error
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // a reader that has seen enough is no crash
    Language language;
    const auto guarded = [&] { return run(withoutHelp({argv + 1, argv + argc}), language); };
    return vksettings::callForeign(guarded, [] {
        std::cerr << "vksettings: a function of a definition ends with an unknown failure\n";
        return vksettings::refused;
    });
}
