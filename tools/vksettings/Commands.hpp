/// What the tool can do, apart from how its command line looks. Every command writes its result to `out` and
/// raises an exception when it is refused; main turns that into a message and an exit code.
#pragma once

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace vksettings {

/// Documented in the README: scripts rely on them.
enum ExitCode { done = 0, refused = 1, usage = 2, fileOrSystem = 3 };

/// The command line does not say what to do.
class WrongUsage : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct ListOptions {
    std::string name; // empty: the root
    bool recursive = false;
    bool hidden = false;
    bool remote = false; // what other processes publish
    bool json = false;
};
void list(const ListOptions& options, std::ostream& out);

struct GetOptions {
    std::string name;
    std::string level; // empty: the effective value
    bool remote = false;
    bool json = false;
};
void get(const GetOptions& options, std::ostream& out);

struct SetOptions {
    std::string name;
    std::string value;
    std::string level = "user";
    bool json = false; // the value is JSON, whatever the type of the setting
};
void set(const SetOptions& options);

struct UnsetOptions {
    std::string name;
    std::string level = "user";
    bool remote = false;
};
void unset(const UnsetOptions& options);

struct ExplainOptions {
    std::string name;
    bool json = false;
};
void explain(const ExplainOptions& options, std::ostream& out);

struct ExportOptions {
    std::vector<std::string> names;
    std::string file;
    std::string level = "user";
};
void exportSettings(const ExportOptions& options, std::ostream& out);

struct ImportOptions {
    std::string file;
    std::string level = "user";
    bool merge = false; // store the values; otherwise only show what the file holds
};
void importSettings(const ImportOptions& options, std::ostream& out);

struct DumpOptions {
    std::string file;
    std::string password; // of an encrypted file
};
void dump(const DumpOptions& options, std::ostream& out);

struct ValidateOptions {
    std::string target; // full name of a group or setting, else a settings file; empty: everything
    bool json = false;
};
/// `refused` when a value fails; `fileOrSystem` when a file that belongs to it could not be read.
ExitCode validate(const ValidateOptions& options, std::ostream& out);

struct WatchOptions {
    std::string name;    // full name of a group or setting; empty: everything
    bool remote = false; // in the groups of other processes, which may come and go
    bool json = false;
};
/// Writes a line for every change, those of other processes included, until SIGINT or SIGTERM comes, the
/// output fails, or nobody reads it any more. To be called while the process has one thread.
void watch(const WatchOptions& options, std::ostream& out);

struct ServeOptions {
    std::vector<std::string> groups;
    bool json = false;
};
/// Publishes top-level groups until SIGINT or SIGTERM comes. To be called while the process has one thread.
void serve(const ServeOptions& options, std::ostream& out);

struct PrefdirOptions {
    bool json = false;
};
/// Where the personal settings are; finds, makes and fills the folder as every program does.
void prefdir(const PrefdirOptions& options, std::ostream& out);

struct MoveOptions {
    std::string directory;
    bool copy = false; // the personal files first
};
/// Uses another preferences directory from now on, as long as the process lives.
void movePrefdir(const MoveOptions& options, std::ostream& out);

struct ToolboxOptions {
    bool load = false; // all of them first
    bool json = false;
};
/// What defines the top-level groups.
void toolboxes(const ToolboxOptions& options, std::ostream& out);

/// Reads the definitions of a top-level group again, and shows what that changes.
void reload(const std::string& group, std::ostream& out);

struct UpgradeOptions {
    enum class What { dryRun, log, undo };
    What what = What::dryRun;
    std::string group;
    std::string to; // the folder of an undo
    bool json = false;
};
/// What the changes between releases do to a personal file, did, or the file from before them. `refused` when
/// a dry run does not get to its end.
ExitCode upgrade(const UpgradeOptions& options, std::ostream& out);

struct BuildOptions {
    std::string document;
    std::string file;
    bool force = false; // also a file without write permission
};
void factoryBuild(const BuildOptions& options, std::ostream& out);

struct InspectOptions {
    std::string file;
    bool json = false;
};
void factoryInspect(const InspectOptions& options, std::ostream& out);

struct CheckOptions {
    std::vector<std::string> files; // one to be checked, or a released one and its successor to be compared
    bool json = false;
};
/// `refused` when there is a fault, or a break between the two.
ExitCode factoryCheck(const CheckOptions& options, std::ostream& out);

void factoryInstall(const std::string& file, bool hidden, std::ostream& out);

struct GSchemaOptions {
    std::vector<std::string> files;
    std::string folder; // where the documents go; empty: the current one
};
void factoryFromGSchema(const GSchemaOptions& options, std::ostream& out);

} // namespace vksettings
